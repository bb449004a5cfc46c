#include <gtest/gtest.h>

#include "test_support.h"
