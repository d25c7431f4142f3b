#pragma once

#include "kcore/strings/string.h"
