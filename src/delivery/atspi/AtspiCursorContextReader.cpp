#include "delivery/atspi/AtspiCursorContextReader.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <thread>

#include "base/MainLoop.h"
#include "delivery/atspi/AtspiAccessibility.h"

namespace murvelo {
namespace {

// A little more than one call's time-out.
constexpr std::chrono::milliseconds kCallGrace{150};

}  // namespace

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

// The thread that makes every libatspi call. It owns its state jointly with the reader, so a
// thread stuck in a call that never returns (a bus that accepts and never answers) can be left
// behind instead of hanging whoever destroys the reader.
struct AtspiCursorContextReader::Worker {
  std::mutex mutex;
  std::condition_variable wake;
  std::deque<std::function<void()>> jobs;
  bool quitting = false;
  bool finished = false;

  static void run(std::shared_ptr<Worker> self) {
    for (;;) {
      std::function<void()> job;
      {
        std::unique_lock lock(self->mutex);
        self->wake.wait(lock, [&] { return self->quitting || !self->jobs.empty(); });
        if (self->quitting) break;
        job = std::move(self->jobs.front());
        self->jobs.pop_front();
      }
      job();
    }
    std::lock_guard lock(self->mutex);
    self->finished = true;
    self->wake.notify_all();
  }

  void post(std::function<void()> job) {
    {
      std::lock_guard lock(mutex);
      jobs.push_back(std::move(job));
    }
    wake.notify_all();
  }
};

AtspiCursorContextReader::AtspiCursorContextReader(MainLoop* loop, std::chrono::milliseconds bound)
    : loop_(loop), bound_(bound), worker_(std::make_shared<Worker>()) {
  std::thread(&Worker::run, worker_).detach();
}

AtspiCursorContextReader::~AtspiCursorContextReader() {
  std::unique_lock lock(worker_->mutex);
  worker_->quitting = true;
  worker_->jobs.clear();
  worker_->wake.notify_all();
  // A call in progress ends within its time-out; only a hung one is left behind.
  worker_->wake.wait_for(lock, kCallGrace, [&] { return worker_->finished; });
}

void AtspiCursorContextReader::start(const std::shared_ptr<Pending>& pending) {
  worker_->post([pending] {
    // A read whose caller has stopped waiting is not worth a round trip.
    if (std::chrono::steady_clock::now() >= pending->deadline) return;
    AtspiAccessibility accessibility(pending->deadline);
    pending->settle(CursorContext::read(accessibility));
  });
}

void AtspiCursorContextReader::read(std::function<void(CursorContext)> done) {
  auto pending = std::make_shared<Pending>();
  pending->deadline = std::chrono::steady_clock::now() + bound_;
  MainLoop* loop = loop_;
  pending->done = [loop, done = std::move(done)](CursorContext context) {
    loop->post([done, context = std::move(context)] { done(context); });
  };
  loop_->postAfter(bound_, [pending] { pending->settle(CursorContext::unavailable()); });
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
