#pragma once

#include "kcore/messages/message_system.h"
