#pragma once

#include "kcore/core/core.h"
