#include "delivery/atspi/AtspiCursorContextReader.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <thread>

#include "base/MainLoop.h"
#include "delivery/atspi/AtspiAccessibility.h"

namespace murvelo {

// One read: the worker and the time limit race to settle it, the first one wins.
struct AtspiCursorContextReader::Pending {
  std::chrono::steady_clock::time_point deadline;
  std::mutex mutex;
  std::condition_variable settledSignal;
  std::optional<CursorContext> result;
  std::function<void(CursorContext)> done;

  void settle(CursorContext context) {
    std::function<void(CursorContext)> callback;
    {
      std::lock_guard lock(mutex);
      if (result) return;
      result = context;
      callback = std::move(done);
    }
    settledSignal.notify_all();
    if (callback) callback(std::move(context));
  }
};

namespace {

// The one thread that makes every libatspi call (the library keeps process-wide state), for all
// readers. A call that never returns (a bus that accepts and never answers) leaves it stuck, and
// later reads then give the unavailable context at their deadline: nobody waits for it.
class AtspiWorker {
 public:
  static AtspiWorker& instance() {
    static AtspiWorker* worker = [] {
      auto* created = new AtspiWorker;
      std::thread([created] { created->run(); }).detach();
      return created;
    }();
    return *worker;
  }

  void post(std::function<void()> job) {
    {
      std::lock_guard lock(mutex_);
      jobs_.push_back(std::move(job));
    }
    wake_.notify_one();
  }

 private:
  [[noreturn]] void run() {
    for (;;) {
      std::function<void()> job;
      {
        std::unique_lock lock(mutex_);
        wake_.wait(lock, [&] { return !jobs_.empty(); });
        job = std::move(jobs_.front());
        jobs_.pop_front();
      }
      job();
    }
  }

  std::mutex mutex_;
  std::condition_variable wake_;
  std::deque<std::function<void()>> jobs_;
};

}  // namespace

// Where late answers go: nowhere once the reader is gone.
struct AtspiCursorContextReader::Owner {
  std::mutex mutex;
  MainLoop* loop = nullptr;
};

AtspiCursorContextReader::AtspiCursorContextReader(MainLoop* loop, std::chrono::milliseconds bound)
    : bound_(bound), owner_(std::make_shared<Owner>()) {
  owner_->loop = loop;
}

AtspiCursorContextReader::~AtspiCursorContextReader() {
  std::lock_guard lock(owner_->mutex);
  owner_->loop = nullptr;
}

void AtspiCursorContextReader::start(const std::shared_ptr<Pending>& pending) {
  AtspiWorker::instance().post([pending] {
    // A read whose caller has stopped waiting is not worth a round trip.
    if (std::chrono::steady_clock::now() >= pending->deadline) return;
    AtspiAccessibility accessibility(pending->deadline);
    pending->settle(CursorContext::read(accessibility));
  });
}

void AtspiCursorContextReader::read(std::function<void(CursorContext)> done) {
  auto pending = std::make_shared<Pending>();
  pending->deadline = std::chrono::steady_clock::now() + bound_;
  pending->done = [owner = owner_, done = std::move(done)](CursorContext context) {
    std::lock_guard lock(owner->mutex);
    if (owner->loop) owner->loop->post([done, context = std::move(context)] { done(context); });
  };
  owner_->loop->postAfter(bound_, [pending] { pending->settle(CursorContext::unavailable()); });
  start(pending);
}

CursorContext AtspiCursorContextReader::readNow() {
  auto pending = std::make_shared<Pending>();
  pending->deadline = std::chrono::steady_clock::now() + bound_;
  start(pending);
  std::unique_lock lock(pending->mutex);
  pending->settledSignal.wait_until(lock, pending->deadline, [&] { return pending->result.has_value(); });
  return pending->result.value_or(CursorContext::unavailable());
}

}  // namespace murvelo
