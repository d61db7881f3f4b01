#include "tests/app/app_test.h"
