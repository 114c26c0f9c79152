#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>

#include "base/Status.h"

namespace murvelo {

// Downloads one model file over HTTP(S) into place: into "<destination>.partial" first, resuming
// a partial file left by an interrupted download, then checks the whole file's SHA-1 and moves it
// into place atomically. A file that fails the check is deleted; an interrupted one is kept for
// the next attempt, under a name that is never taken for a model.
class ModelDownloader {
 public:
  struct Progress {
    std::uint64_t received = 0;  // bytes of the file on disk so far
    std::uint64_t total = 0;     // 0 while unknown
    double bytesPerSecond = 0;
  };
  using ProgressHandler = std::function<void(const Progress&)>;

  static constexpr const char* kCancelled = "download cancelled; nothing was installed";

  // A server that sends more than `maxBytes` (0: no limit) is cut off and the partial file removed.
  // Setting `*cancel` (from any thread) stops the transfer soon after and removes the partial file.
  static Status download(const std::string& url, const std::filesystem::path& destination,
                         const std::string& sha1, const ProgressHandler& progress, std::uint64_t maxBytes = 0,
                         const std::atomic<bool>* cancel = nullptr);
  // The SHA-1 of a file in lower-case hex; empty when it cannot be read.
  static std::string sha1Of(const std::filesystem::path& file);
};

}  // namespace murvelo
