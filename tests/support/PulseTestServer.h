#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "support/ChildProcess.h"

namespace murvelo::test {

// A private PulseAudio server for tests and benchmarks, in a temporary directory of its own: a
// unix socket, a null output, a pipe source "speech" fed by the test through a FIFO (its
// description is "Speech", its rate `speechRate`), and a null source "silence" that produces
// exact digital silence. Runs as the current user (root included); PULSE_SERVER points at it
// while it exists.
class PulseTestServer {
 public:
  static constexpr const char* kSpeechSource = "speech";
  static constexpr const char* kSilenceSource = "silence";

  // The pulseaudio program is installed.
  static bool available();
  // Synthetic speech from espeak-ng as mono float at `rate`; empty when that fails.
  static std::vector<float> synthesize(const std::string& text, double rate);

  explicit PulseTestServer(double speechRate = 48000);
  ~PulseTestServer();
  PulseTestServer(const PulseTestServer&) = delete;
  PulseTestServer& operator=(const PulseTestServer&) = delete;

  // Starts the server and waits until it answers; false (see log()) when it does not.
  bool start();
  // Stops it: politely, or with SIGKILL as a crash would.
  void stop(bool crash = false);
  bool running() const { return process_.pid() > 0; }

  const std::string& address() const { return address_; }
  std::string log() const;

  // Writes samples into the speech source. Real time paces them like a microphone (20 ms
  // chunks); otherwise they go in as fast as the server reads. The source reads only while a
  // stream records from it: real-time audio nobody takes is dropped, as a microphone's would be.
  bool feed(const std::vector<float>& samples, bool realTime);
  // Runs pactl against this server; its standard output, or none on failure.
  bool pactl(const std::vector<std::string>& args, std::string* out = nullptr);
  // Loads a module; its index, or -1.
  int loadModule(const std::string& name, const std::string& arguments);

 private:
  std::filesystem::path dir_;
  std::string address_;
  double speechRate_;
  ChildProcess process_;
  int fifo_ = -1;
  std::string previousServer_;
  bool hadPreviousServer_ = false;
};

}  // namespace murvelo::test
