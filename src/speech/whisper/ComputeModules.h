#pragma once

#include <string>

namespace murvelo {

// whisper.cpp's CPU code comes as one loadable module per instruction-set level; the best one for
// this CPU is loaded once per process, before the first model. Looked for beside the installed
// program (../lib/murvelo) and then in the build tree. Returns the folder used, or an empty string
// when no module could be loaded (whisper cannot run then; pocketsphinx still can).
std::string loadWhisperComputeModules();

}  // namespace murvelo
