// Mutated WAV headers against the audio file reader: murvelo_fault_audio [--seconds S]
// [--rounds N] [--seed N]. Each round writes a one-second 16 kHz recording whose header fields
// (sizes, format, channels, rates, alignment, bit depth) are changed to hostile values, or which
// is cut short, and reads it as the program does. Every read must end within two seconds with
// output bounded by the file's real length. Prints the figures; exits 1 on the first fault.
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <climits>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>

#include "FaultRun.h"
#include "audio/AudioFile.h"
#include "support/PcmWav.h"

namespace {

// One second of 16 kHz noise.
std::string baseWav() {
  std::mt19937 random(3);
  return murvelo::test::pcmWav(16000, 1, 16000, [&] { return static_cast<std::uint16_t>(random() % 16384); });
}

struct HeaderField {
  std::size_t at;
  int bytes;
};
const HeaderField kFields[] = {{4, 4},  {16, 4}, {20, 2}, {22, 2}, {24, 4},
                               {28, 4}, {32, 2}, {34, 2}, {40, 4}};
const std::uint32_t kHostile[] = {0,      1,      2,          3,           6,           8,     24,
                                  32,     64,     65,         0xfffe,      0xffff,      3999,  4000,
                                  768000, 768001, 0x7fffffff, 0x80000000u, 0xffffffffu, 44100, 48000};

}  // namespace

int main(int argc, char** argv) {
  const auto options = murvelo::fault::parse(argc, argv, {.seconds = 10, .rounds = 100000});
  std::mt19937 random(options.seed);
  const std::filesystem::path dir = murvelo::fault::scratchFolder("audio");
  if (dir.empty()) return 2;
  const std::filesystem::path file = dir / "clip.wav";
  const std::string base = baseWav();

  const murvelo::fault::RoundClock clock(options.seconds);
  long done = 0, accepted = 0;
  int failures = 0;
  double slowest = 0;
  for (long round = 0; round < options.rounds && failures == 0 && clock.timeLeft(); ++round) {
    std::string wav = base;
    const int changes = 1 + static_cast<int>(random() % 3);
    for (int k = 0; k < changes; ++k) {
      const auto& field = kFields[random() % std::size(kFields)];
      const std::uint32_t value =
          random() % 4 == 0 ? static_cast<std::uint32_t>(random()) : kHostile[random() % std::size(kHostile)];
      murvelo::test::putLE(wav, field.at, value, field.bytes);
    }
    if (random() % 5 == 0) wav.resize(random() % wav.size());
    std::ofstream(file, std::ios::binary | std::ios::trunc)
        .write(wav.data(), static_cast<std::streamsize>(wav.size()));

    double took = 0;
    auto samples = murvelo::fault::timedStep([&] { return murvelo::readAudioFile(file, 16000); }, took);
    slowest = std::max(slowest, took);
    if (took > 2.0) failures += murvelo::fault::fail("round %ld: the read took %.1f s\n", round, took);
    // 32,000 bytes hold at most 256,000 one-bit samples: at the lowest accepted rate that is
    // 64 s, or 1,024,000 samples at 16 kHz.
    accepted += samples.ok();
    if (samples.ok() && samples.value().size() > 1024000 + 4096)
      failures += murvelo::fault::fail("round %ld: %zu samples from %zu bytes\n", round,
                                       samples.value().size(), wav.size());
    ++done;
  }
  rusage usage{};
  ::getrusage(RUSAGE_SELF, &usage);
  std::error_code ignored;
  std::filesystem::remove_all(dir, ignored);
  std::printf(
      "audio header fault driver: %ld rounds, %ld read, slowest read %.1f ms, peak memory %ld MB, "
      "%d failures, %.1f s\n",
      done, accepted, slowest * 1e3, usage.ru_maxrss / 1024, failures, clock.elapsed());
  return failures == 0 ? 0 : 1;
}
