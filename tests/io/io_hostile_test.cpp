#include "tests/io/io_test.h"
