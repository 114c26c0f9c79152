// Mutated whisper model headers against the model check: murvelo_fault_model [--seconds S]
// [--rounds N] [--seed N] [--loads N]. Each round changes a header field, a tensor header or a
// vocabulary length of a tiny model of the real shape to a hostile value. The check must answer
// within a second; a file it accepts must load in whisper.cpp (in a child process) without a crash,
// for the first --loads of them. Prints the figures; exits 1 on the first fault.
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <climits>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "FaultRun.h"
#include "speech/WhisperModelFile.h"
#include "speech/whisper/ComputeModules.h"
#include "tools/SyntheticWhisperModel.h"
#include "whisper.h"

namespace {

using namespace murvelo;

std::int32_t readI32(int fd, off_t offset) {
  std::int32_t value = 0;
  if (::pread(fd, &value, 4, offset) != 4) return 0;
  return value;
}

// Offsets of every i32 that describes the file's layout: header, filter sizes, word lengths
// (a sample), tensor headers.
std::vector<off_t> layoutFields(int fd) {
  std::vector<off_t> fields;
  for (off_t at = 4; at < 4 + 13 * 4; at += 4) fields.push_back(at);
  off_t at = 48;
  const std::int32_t mels = readI32(fd, at), bins = readI32(fd, at + 4);
  at += 8 + static_cast<off_t>(mels) * bins * 4;
  fields.push_back(at);
  const std::int32_t words = readI32(fd, at);
  at += 4;
  for (std::int32_t i = 0; i < words; ++i) {
    if (i % 97 == 0) fields.push_back(at);
    at += 4 + readI32(fd, at);
  }
  const off_t size = ::lseek(fd, 0, SEEK_END);
  while (at + 12 <= size) {
    const std::int32_t dims = readI32(fd, at), name = readI32(fd, at + 4), type = readI32(fd, at + 8);
    for (std::int32_t k = 0; k < 3 + dims; ++k) fields.push_back(at + 4 * k);
    std::int64_t values = 1;
    for (std::int32_t d = 0; d < dims; ++d) values *= readI32(fd, at + 12 + 4 * d);
    const std::int64_t bytes = type == 0 ? values * 4 : values * 2;
    at += 12 + 4 * dims + name + bytes;
  }
  return fields;
}

const std::int32_t kHostile[] = {0,  -1,  1,   2,    3,     5,       7,       31,      32,     33,
                                 80, 128, 384, 1500, 51866, INT_MAX, INT_MIN, 0x10000, 0x7fff, 1 << 30};

// Loads the file in whisper.cpp in a child; its wait status.
int loadInChild(const std::filesystem::path& file) {
  pid_t child = ::fork();
  if (child == 0) {
    whisper_context_params params = whisper_context_default_params();
    params.use_gpu = false;
    whisper_context* context = whisper_init_from_file_with_params(file.c_str(), params);
    if (context == nullptr) _exit(1);
    whisper_free(context);
    _exit(0);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  const auto options = fault::parse(argc, argv, {.seconds = 10, .rounds = 2000, .loads = 3});
  std::mt19937 random(options.seed);
  const std::filesystem::path dir = fault::scratchFolder("model");
  if (dir.empty()) return 2;
  whisper_log_set([](ggml_log_level, const char*, void*) {}, nullptr);
  if (murvelo::loadWhisperComputeModules().empty()) return 2;
  const std::filesystem::path model = dir / "ggml-tiny.en.bin";
  if (!SyntheticWhisperModel::write(model, SyntheticWhisperModel::Architecture::tinyEn)) return 2;
  int fd = ::open(model.c_str(), O_RDWR);
  const std::vector<off_t> fields = layoutFields(fd);

  const murvelo::fault::RoundClock clock(options.seconds);
  long done = 0, accepted = 0, loaded = 0;
  int failures = 0;
  double slowest = 0;
  for (long round = 0; round < options.rounds && failures == 0 && clock.timeLeft(); ++round) {
    // One to three fields changed at once.
    std::vector<std::pair<off_t, std::int32_t>> saved;
    const int changes = 1 + static_cast<int>(random() % 3);
    for (int k = 0; k < changes; ++k) {
      const off_t at = fields[random() % fields.size()];
      saved.emplace_back(at, readI32(fd, at));
      std::int32_t value =
          random() % 4 == 0 ? static_cast<std::int32_t>(random()) : kHostile[random() % std::size(kHostile)];
      if (::pwrite(fd, &value, 4, at) != 4) return 2;
    }
    double took = 0;
    auto info = fault::timedStep([&] { return inspectWhisperModel(model); }, took);
    slowest = std::max(slowest, took);
    if (took > 1.0) failures += murvelo::fault::fail("round %ld: the check took %.1f s\n", round, took);
    accepted += info.ok();
    if (info.ok() && loaded < options.loads) {
      ++loaded;
      if (const int status = loadInChild(model); WIFSIGNALED(status))
        failures += murvelo::fault::fail(
            "round %ld: accepted, and whisper.cpp died of signal %d loading it\n", round, WTERMSIG(status));
    }
    for (auto it = saved.rbegin(); it != saved.rend(); ++it)
      if (::pwrite(fd, &it->second, 4, it->first) != 4) return 2;
    ++done;
  }
  ::close(fd);
  std::error_code ignored;
  std::filesystem::remove_all(dir, ignored);
  std::printf(
      "model header fault driver: %ld rounds, %ld accepted (%ld loaded in whisper.cpp), slowest check "
      "%.1f ms, %d failures, %.1f s\n",
      done, accepted, loaded, slowest * 1e3, failures, clock.elapsed());
  return failures == 0 ? 0 : 1;
}
