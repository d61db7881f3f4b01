#include "tests/ui/views_test.h"
