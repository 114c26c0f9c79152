#include "support/PulseTestServer.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <thread>

#include "support/Pump.h"
#include "support/RunProcess.h"

namespace murvelo::test {
namespace {

using namespace std::chrono_literals;

std::vector<float> readFloats(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  std::vector<float> samples(bytes.size() / sizeof(float));
  std::memcpy(samples.data(), bytes.data(), samples.size() * sizeof(float));
  return samples;
}

}  // namespace

bool PulseTestServer::available() {
  return access("/usr/bin/pulseaudio", X_OK) == 0 && access("/usr/bin/pactl", X_OK) == 0;
}

std::vector<float> PulseTestServer::synthesize(const std::string& text, double rate) {
  char pattern[] = "/tmp/murvelo-speech-XXXXXX";
  if (!mkdtemp(pattern)) return {};
  std::filesystem::path dir = pattern;
  auto wav = (dir / "speech.wav").string();
  auto raw = (dir / "speech.f32").string();
  std::vector<float> samples;
  if (runProcess("/usr/bin/espeak-ng", {"-w", wav, text}).exitCode == 0 &&
      runProcess("/usr/bin/sox", {wav, "-r", std::to_string(static_cast<int>(rate)), "-c", "1", "-t", "raw",
                                  "-e", "floating-point", "-b", "32", raw})
              .exitCode == 0)
    samples = readFloats(raw);
  std::error_code ignored;
  std::filesystem::remove_all(dir, ignored);
  return samples;
}

PulseTestServer::PulseTestServer(double speechRate) : speechRate_(speechRate) {
  char pattern[] = "/tmp/murvelo-pulse-XXXXXX";
  if (mkdtemp(pattern)) dir_ = pattern;
  address_ = "unix:" + (dir_ / "native").string();
  std::filesystem::create_directories(dir_ / "runtime");
  std::filesystem::permissions(dir_ / "runtime", std::filesystem::perms::owner_all);
  std::ofstream script(dir_ / "server.pa");
  script << "load-module module-native-protocol-unix auth-anonymous=1 socket=" << (dir_ / "native").string()
         << "\n"
         << "load-module module-null-sink sink_name=out\n"
         << "load-module module-pipe-source source_name=" << kSpeechSource
         << " file=" << (dir_ / "speech.fifo").string()
         << " format=float32le channels=1 rate=" << static_cast<int>(speechRate_)
         << " source_properties=device.description=Speech\n"
         << "load-module module-null-source source_name=" << kSilenceSource
         << " rate=48000 channels=1 description=Silence\n"
         << "set-default-source " << kSpeechSource << "\n";
  if (const char* previous = std::getenv("PULSE_SERVER")) {
    hadPreviousServer_ = true;
    previousServer_ = previous;
  }
  setenv("PULSE_SERVER", address_.c_str(), 1);
}

PulseTestServer::~PulseTestServer() {
  stop();
  if (hadPreviousServer_)
    setenv("PULSE_SERVER", previousServer_.c_str(), 1);
  else
    unsetenv("PULSE_SERVER");
  std::error_code ignored;
  if (!dir_.empty()) std::filesystem::remove_all(dir_, ignored);
}

std::string PulseTestServer::log() const {
  std::ifstream in(dir_ / "server.log");
  return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

bool PulseTestServer::start() {
  if (running()) return true;
  std::error_code ignored;
  // Left behind by a server that was killed: the pipe source makes its own FIFO.
  std::filesystem::remove(dir_ / "speech.fifo", ignored);
  std::filesystem::remove(dir_ / "native", ignored);
  if (!process_.start({"/usr/bin/pulseaudio", "-n", "--daemonize=no", "--system=false", "--exit-idle-time=-1",
                       "--use-pid-file=false", "--disallow-exit=false", "--log-target=stderr", "-F",
                       (dir_ / "server.pa").string()},
                      {{"HOME", dir_.string()},
                       {"XDG_RUNTIME_DIR", (dir_ / "runtime").string()},
                       {"XDG_CONFIG_HOME", (dir_ / "config").string()},
                       {"DBUS_SESSION_BUS_ADDRESS", std::nullopt}},
                      dir_ / "server.log"))
    return false;
  auto answers = [&] { return std::filesystem::exists(dir_ / "native") && pactl({"info"}); };
  if (!waitUntil([&] { return answers() || !process_.running(); }, 10s) || !process_.running()) {
    stop(true);
    return false;
  }
  fifo_ = open((dir_ / "speech.fifo").c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
  return true;
}

void PulseTestServer::stop(bool crash) {
  if (fifo_ >= 0) {
    close(fifo_);
    fifo_ = -1;
  }
  process_.stop(crash);
}

bool PulseTestServer::feed(const std::vector<float>& samples, bool realTime) {
  if (fifo_ < 0) return false;
  const char* bytes = reinterpret_cast<const char*>(samples.data());
  std::size_t total = samples.size() * sizeof(float);
  std::size_t chunk = realTime ? static_cast<std::size_t>(speechRate_ / 50) * sizeof(float) : total;
  auto next = std::chrono::steady_clock::now();
  for (std::size_t offset = 0; offset < total;) {
    std::size_t length = std::min(chunk, total - offset);
    ssize_t written = write(fifo_, bytes + offset, length);
    if (written < 0 && errno == EAGAIN) {
      // The source reads only while something records from it; what nobody records is lost,
      // as with a real microphone.
      pollfd ready{fifo_, POLLOUT, 0};
      if (poll(&ready, 1, 100) <= 0) {
        if (!realTime) return false;
        written = static_cast<ssize_t>(length);
      } else {
        continue;
      }
    }
    if (written <= 0) return false;
    offset += static_cast<std::size_t>(written);
    if (realTime && offset % chunk == 0) {
      next += 20ms;
      std::this_thread::sleep_until(next);
    }
  }
  return true;
}

bool PulseTestServer::pactl(const std::vector<std::string>& args, std::string* out) {
  auto result = runProcess("/usr/bin/pactl", args, {{"PULSE_SERVER", address_}});
  if (out) *out = result.out;
  return result.exitCode == 0;
}

int PulseTestServer::loadModule(const std::string& name, const std::string& arguments) {
  std::string out;
  std::vector<std::string> args = {"load-module", name};
  std::stringstream words(arguments);
  for (std::string word; words >> word;) args.push_back(word);
  if (!pactl(args, &out)) return -1;
  try {
    return std::stoi(out);
  } catch (...) {
    return -1;
  }
}

}  // namespace murvelo::test
