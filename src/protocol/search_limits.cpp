#include "protocol/search_limits.h"

SearchLimits search_limits;
