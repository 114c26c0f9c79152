#include "audio/pulse/MicrophoneWatcher.h"

#include <utility>

#include "audio/InputLevel.h"

namespace murvelo {

MicrophoneWatcher::MicrophoneWatcher(Handler handler, Options options)
    : handler_(std::move(handler)),
      options_(std::move(options)),
      session_(options_.session),
      level_(InputLevel::kFloorDb) {
  session_.setHandlers([this](std::vector<float> samples) { level_.store(InputLevel::rmsDb(samples)); },
                       [this](const SessionEvent& event) {
                         if (event.kind == SessionEvent::Kind::systemWake) return;
                         {
                           std::lock_guard lock(mutex_);
                           broken_ = true;
                           again_ = true;
                         }
                         wake_.notify_all();
                       });
  thread_ = std::thread([this] { run(); });
}

MicrophoneWatcher::~MicrophoneWatcher() {
  {
    std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  wake_.notify_all();
  thread_.join();
  session_.setHandlers(nullptr, nullptr);
  session_.teardown();
}

void MicrophoneWatcher::meter(std::string deviceID) {
  {
    std::lock_guard lock(mutex_);
    wanted_ = std::move(deviceID);
    again_ = true;
  }
  wake_.notify_all();
}

void MicrophoneWatcher::refresh() {
  {
    std::lock_guard lock(mutex_);
    again_ = true;
  }
  wake_.notify_all();
}

void MicrophoneWatcher::run() {
  std::optional<Snapshot> last;
  while (true) {
    Snapshot snapshot;
    snapshot.serverAnswers = session_.serverReachable();
    if (snapshot.serverAnswers) snapshot.found = session_.discover();
    updateMeter(snapshot);
    if (!last || !(*last == snapshot)) {
      last = snapshot;
      if (handler_) handler_(snapshot);
    }
    std::unique_lock lock(mutex_);
    wake_.wait_for(lock, options_.interval, [this] { return stopping_ || again_; });
    if (stopping_) return;
    again_ = false;
  }
}

void MicrophoneWatcher::updateMeter(const Snapshot& snapshot) {
  std::string wanted;
  bool broken = false;
  {
    std::lock_guard lock(mutex_);
    wanted = wanted_;
    broken = std::exchange(broken_, false);
  }
  const CaptureDevice* device = wanted.empty() ? nullptr : snapshot.found.find(wanted);
  if (!broken && device && metering_ == wanted && session_.isRunning()) return;
  if (!metering_.empty()) {
    session_.teardown();
    metering_.clear();
  }
  level_.store(InputLevel::kFloorDb);
  if (!device) return;
  double rate = device->sampleRate > 0 ? device->sampleRate : 48000;
  if (session_.configure(*device, rate)) return;  // tried again at the next look
  if (session_.startRunning())
    metering_ = wanted;
  else
    session_.teardown();
}

}  // namespace murvelo
