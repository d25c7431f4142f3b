#pragma once

#include "kcore/messages/messages.h"
