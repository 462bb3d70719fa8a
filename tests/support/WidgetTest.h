#pragma once

#include "Testing.h"
#include "WaitFor.h"
#include <QtTest>
#include <QtWidgets>
