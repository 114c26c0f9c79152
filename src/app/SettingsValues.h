#pragma once

// The value types of the settings, each defined with its subsystem.
#include "cleanup/CleanupLevel.h"
#include "hotkey/TalkKey.h"
#include "speech/SpeechEngineChoice.h"
