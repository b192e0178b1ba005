// The library's integer names for the benchmarks.
#pragma once

#include "core/types.h"

using namespace viq;
