#pragma once

#include <QtTest>
#include <QtWidgets>

#include "Testing.h"
#include "WaitFor.h"
