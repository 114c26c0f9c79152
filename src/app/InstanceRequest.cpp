#include "app/InstanceRequest.h"

namespace murvelo {

std::string_view requestLine(InstanceRequest request) {
  switch (request) {
    case InstanceRequest::activate: return "activate";
    case InstanceRequest::talkStart: return "talk start";
    case InstanceRequest::talkStop: return "talk stop";
    case InstanceRequest::talkToggle: return "talk toggle";
  }
  return {};
}

std::optional<InstanceRequest> parseRequestLine(std::string_view line) {
  if (line.ends_with('\n')) line.remove_suffix(1);
  if (line.ends_with('\r')) line.remove_suffix(1);
  for (auto request : {InstanceRequest::activate, InstanceRequest::talkStart, InstanceRequest::talkStop,
                       InstanceRequest::talkToggle})
    if (line == requestLine(request)) return request;
  return std::nullopt;
}

}  // namespace murvelo
