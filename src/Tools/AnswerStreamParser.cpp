#include "AnswerStreamParser.h"
