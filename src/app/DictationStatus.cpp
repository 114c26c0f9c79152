#include "app/DictationStatus.h"

namespace murvelo {

std::string_view statusName(DictationStatus::Kind kind) {
  switch (kind) {
    case DictationStatus::Kind::message: return "message";
    case DictationStatus::Kind::idle: return "idle";
    case DictationStatus::Kind::recording: return "recording";
    case DictationStatus::Kind::transcribing: return "transcribing";
    case DictationStatus::Kind::cleaning: return "cleaning";
  }
  return "idle";
}

}  // namespace murvelo
