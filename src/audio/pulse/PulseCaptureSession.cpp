#include "audio/pulse/PulseCaptureSession.h"

#include <pulse/pulseaudio.h>

#include <cstring>
#include <functional>

#include "base/Log.h"

namespace murvelo {
namespace {

const Logger kLog("audio");

bool contains(const char* text, const char* part) { return text && std::strstr(text, part); }

std::string property(const pa_proplist* properties, const char* key) {
  const char* value = properties ? pa_proplist_gets(properties, key) : nullptr;
  return value ? value : "";
}

// What a source is, as the recorder needs it; monitors of outputs are not inputs.
CaptureDevice describe(const pa_source_info& info) {
  CaptureDevice device;
  device.id = info.name ? info.name : "";
  device.name = info.description && *info.description ? info.description : device.id;
  device.isBluetooth = property(info.proplist, "device.bus") == "bluetooth";
  device.isBuiltIn = property(info.proplist, "device.form_factor") == "internal" ||
                     (info.active_port && contains(info.active_port->name, "internal-mic"));
  device.sampleRate = info.sample_spec.rate;
  device.microphoneMode = contains(info.driver, "echo-cancel") ? "voiceIsolation" : "unknown";
  return device;
}

struct Timeout {
  bool fired = false;
  pa_threaded_mainloop* mainloop;
};

}  // namespace

struct PulseCaptureSession::Callbacks {
  static void signal(pa_threaded_mainloop* mainloop) { pa_threaded_mainloop_signal(mainloop, 0); }

  static void contextState(pa_context* context, void* user) {
    auto* self = static_cast<PulseCaptureSession*>(user);
    pa_context_state_t state = pa_context_get_state(context);
    if ((state == PA_CONTEXT_FAILED || state == PA_CONTEXT_TERMINATED) && !self->closingContext_ &&
        self->contextWasReady_) {
      self->contextWasReady_ = false;
      self->running_ = false;
      self->emit({SessionEvent::Kind::runtimeError, pa_strerror(pa_context_errno(context))});
    }
    signal(self->mainloop_);
  }

  static void subscription(pa_context*, pa_subscription_event_type_t type, std::uint32_t index, void* user) {
    auto* self = static_cast<PulseCaptureSession*>(user);
    bool source = (type & PA_SUBSCRIPTION_EVENT_FACILITY_MASK) == PA_SUBSCRIPTION_EVENT_SOURCE;
    bool removed = (type & PA_SUBSCRIPTION_EVENT_TYPE_MASK) == PA_SUBSCRIPTION_EVENT_REMOVE;
    if (source && removed && index == self->sourceIndex_ && self->sourceName_) {
      self->sourceIndex_ = PA_INVALID_INDEX;
      self->emit({SessionEvent::Kind::interrupted, "source removed"});
    }
  }

  static void streamState(pa_stream* stream, void* user) {
    auto* self = static_cast<PulseCaptureSession*>(user);
    pa_stream_state_t state = pa_stream_get_state(stream);
    pa_context* context = pa_stream_get_context(stream);
    // A dead context reports its own failure; this is a stream that died on a live server.
    if ((state == PA_STREAM_FAILED || state == PA_STREAM_TERMINATED) && !self->closingStream_ &&
        self->running_ && pa_context_get_state(context) == PA_CONTEXT_READY) {
      self->running_ = false;
      self->emit({SessionEvent::Kind::runtimeError, pa_strerror(pa_context_errno(context))});
    }
    signal(self->mainloop_);
  }

  static void streamSuspended(pa_stream* stream, void* user) {
    auto* self = static_cast<PulseCaptureSession*>(user);
    if (pa_stream_is_suspended(stream) == 1 && !self->closingStream_)
      self->emit({SessionEvent::Kind::interrupted, "source suspended"});
  }

  static void streamRead(pa_stream* stream, std::size_t, void* user) {
    auto* self = static_cast<PulseCaptureSession*>(user);
    while (pa_stream_readable_size(stream) > 0) {
      const void* data = nullptr;
      std::size_t bytes = 0;
      if (pa_stream_peek(stream, &data, &bytes) < 0 || bytes == 0) return;
      // A hole (no data, only a length) has nothing to copy: skipped like any uncopyable buffer.
      if (data && !self->closingStream_) self->deliver(data, bytes);
      pa_stream_drop(stream);
    }
  }

  static void operationDone(pa_operation*, void* user) { signal(static_cast<pa_threaded_mainloop*>(user)); }

  static void timeout(pa_mainloop_api*, pa_time_event*, const struct timeval*, void* user) {
    auto* timeout = static_cast<Timeout*>(user);
    timeout->fired = true;
    signal(timeout->mainloop);
  }
};

PulseCaptureSession::PulseCaptureSession(Options options) : options_(std::move(options)) {
  mainloop_ = pa_threaded_mainloop_new();
  if (mainloop_ && pa_threaded_mainloop_start(mainloop_) < 0) {
    pa_threaded_mainloop_free(mainloop_);
    mainloop_ = nullptr;
  }
  if (!mainloop_)
    kLog.error("audio server loop could not be started");
  else
    pa_threaded_mainloop_set_name(mainloop_, "murvelo-pulse");
}

PulseCaptureSession::~PulseCaptureSession() {
  if (mainloop_) {
    pa_threaded_mainloop_lock(mainloop_);
    dropContextLocked();
    pa_threaded_mainloop_unlock(mainloop_);
    pa_threaded_mainloop_stop(mainloop_);
    pa_threaded_mainloop_free(mainloop_);
  }
  captureQueue_.drain();
}

void PulseCaptureSession::setHandlers(BufferHandler buffers, EventHandler events) {
  std::lock_guard lock(handlerMutex_);
  buffers_ = std::move(buffers);
  events_ = std::move(events);
}

void PulseCaptureSession::emit(SessionEvent event) {
  EventHandler handler;
  {
    std::lock_guard lock(handlerMutex_);
    handler = events_;
  }
  if (handler) handler(event);
}

void PulseCaptureSession::systemDidWake() { emit({SessionEvent::Kind::systemWake, ""}); }

void PulseCaptureSession::deliver(const void* data, std::size_t bytes) {
  std::vector<float> samples(bytes / sizeof(float));
  if (samples.empty()) return;
  std::memcpy(samples.data(), data, samples.size() * sizeof(float));
  captureQueue_.post([this, samples = std::move(samples)]() mutable {
    BufferHandler handler;
    {
      std::lock_guard lock(handlerMutex_);
      handler = buffers_;
    }
    if (handler) handler(std::move(samples));
  });
}

bool PulseCaptureSession::waitLocked(const std::function<bool()>& done,
                                     std::optional<std::chrono::milliseconds> limit) {
  if (done()) return true;
  Timeout timeout{false, mainloop_};
  pa_mainloop_api* api = pa_threaded_mainloop_get_api(mainloop_);
  struct timeval due;
  pa_gettimeofday(&due);
  const auto waitMs = limit ? static_cast<pa_usec_t>(limit->count()) : options_.connectTimeoutMs;
  pa_timeval_add(&due, waitMs * PA_USEC_PER_MSEC);
  pa_time_event* event = api->time_new(api, &due, &Callbacks::timeout, &timeout);
  while (!done() && !timeout.fired) pa_threaded_mainloop_wait(mainloop_);
  api->time_free(event);
  return done();
}

// ---- context ----

bool PulseCaptureSession::ensureContextLocked(std::optional<std::chrono::milliseconds> limit) {
  if (!mainloop_) return false;
  if (context_ && pa_context_get_state(context_) == PA_CONTEXT_READY) return true;
  dropContextLocked();
  context_ = pa_context_new(pa_threaded_mainloop_get_api(mainloop_), options_.clientName.c_str());
  if (!context_) return false;
  pa_context_set_state_callback(context_, &Callbacks::contextState, this);
  const char* server = options_.server.empty() ? nullptr : options_.server.c_str();
  if (pa_context_connect(context_, server, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0) {
    dropContextLocked();
    return false;
  }
  waitLocked(
      [this] {
        pa_context_state_t state = pa_context_get_state(context_);
        return state == PA_CONTEXT_READY || !PA_CONTEXT_IS_GOOD(state);
      },
      limit);
  if (pa_context_get_state(context_) != PA_CONTEXT_READY) {
    kLog.warning(std::string("audio server not reachable: ") + pa_strerror(pa_context_errno(context_)));
    dropContextLocked();
    return false;
  }
  contextWasReady_ = true;
  pa_context_set_subscribe_callback(context_, &Callbacks::subscription, this);
  if (pa_operation* op = pa_context_subscribe(context_, PA_SUBSCRIPTION_MASK_SOURCE, nullptr, nullptr))
    pa_operation_unref(op);
  return true;
}

void PulseCaptureSession::dropContextLocked() {
  if (!context_) return;
  closeStreamLocked();
  closingContext_ = true;
  pa_context_set_subscribe_callback(context_, nullptr, nullptr);
  pa_context_disconnect(context_);
  pa_context_set_state_callback(context_, nullptr, nullptr);
  pa_context_unref(context_);
  context_ = nullptr;
  contextWasReady_ = false;
  closingContext_ = false;
}

bool PulseCaptureSession::serverReachable() {
  if (!mainloop_) return false;
  pa_threaded_mainloop_lock(mainloop_);
  bool reachable = ensureContextLocked();
  pa_threaded_mainloop_unlock(mainloop_);
  return reachable;
}

bool PulseCaptureSession::serverReachable(std::chrono::milliseconds limit) {
  if (!mainloop_) return false;
  pa_threaded_mainloop_lock(mainloop_);
  bool reachable = ensureContextLocked(limit);
  pa_threaded_mainloop_unlock(mainloop_);
  return reachable;
}

// ---- discovery ----

namespace {

struct Discovery {
  DeviceList* list;
  std::string defaultName;
};

}  // namespace

bool PulseCaptureSession::runLocked(pa_operation* op) {
  if (!op) return false;
  pa_operation_set_state_callback(op, &Callbacks::operationDone, mainloop_);
  waitLocked([op] { return pa_operation_get_state(op) != PA_OPERATION_RUNNING; });
  bool done = pa_operation_get_state(op) == PA_OPERATION_DONE;
  if (!done) pa_operation_cancel(op);
  pa_operation_set_state_callback(op, nullptr, nullptr);
  pa_operation_unref(op);
  return done;
}

DeviceList PulseCaptureSession::discover() {
  DeviceList list;
  if (!mainloop_) return list;
  pa_threaded_mainloop_lock(mainloop_);
  if (ensureContextLocked()) {
    Discovery discovery{&list, {}};
    runLocked(pa_context_get_server_info(
        context_,
        [](pa_context*, const pa_server_info* info, void* user) {
          if (info && info->default_source_name)
            static_cast<Discovery*>(user)->defaultName = info->default_source_name;
        },
        &discovery));
    runLocked(pa_context_get_source_info_list(
        context_,
        [](pa_context*, const pa_source_info* info, int eol, void* user) {
          if (eol || !info || info->monitor_of_sink != PA_INVALID_INDEX) return;
          static_cast<Discovery*>(user)->list->devices.push_back(describe(*info));
        },
        &discovery));
    if (list.find(discovery.defaultName)) list.defaultID = discovery.defaultName;
  }
  pa_threaded_mainloop_unlock(mainloop_);
  return list;
}

// ---- configuration ----

std::optional<CaptureSession::ConfigureFailure> PulseCaptureSession::configure(const CaptureDevice& device,
                                                                               double sampleRate) {
  pa_sample_spec spec{PA_SAMPLE_FLOAT32NE, 0, 1};
  if (!(sampleRate >= 1 && sampleRate <= PA_RATE_MAX))
    return ConfigureFailure{ConfigureError::formatRejected, ""};
  spec.rate = static_cast<std::uint32_t>(sampleRate);
  if (!pa_sample_spec_valid(&spec)) return ConfigureFailure{ConfigureError::formatRejected, ""};
  if (!mainloop_) return ConfigureFailure{ConfigureError::inputFailed, "audio server loop not running"};

  pa_threaded_mainloop_lock(mainloop_);
  closeStreamLocked();
  std::optional<ConfigureFailure> failure;
  if (!ensureContextLocked()) {
    failure = ConfigureFailure{ConfigureError::inputFailed, "audio server not reachable"};
  } else {
    struct Lookup {
      bool found = false;
      bool monitor = false;
      std::uint32_t index = PA_INVALID_INDEX;
      std::string mode = "unknown";
    } lookup;
    runLocked(pa_context_get_source_info_by_name(
        context_, device.id.c_str(),
        [](pa_context*, const pa_source_info* info, int eol, void* user) {
          if (eol || !info) return;
          auto* lookup = static_cast<Lookup*>(user);
          lookup->found = true;
          lookup->monitor = info->monitor_of_sink != PA_INVALID_INDEX;
          lookup->index = info->index;
          lookup->mode = describe(*info).microphoneMode;
        },
        &lookup));
    if (!lookup.found) {
      failure = ConfigureFailure{ConfigureError::inputFailed, "no such source: " + device.id};
    } else if (lookup.monitor) {
      failure = ConfigureFailure{ConfigureError::inputRejected, ""};
    } else {
      sourceName_ = device.id;
      sourceIndex_ = lookup.index;
      sampleRate_ = spec.rate;
      std::lock_guard lock(modeMutex_);
      mode_ = lookup.mode;
    }
  }
  pa_threaded_mainloop_unlock(mainloop_);
  return failure;
}

void PulseCaptureSession::teardown() {
  if (!mainloop_) return;
  pa_threaded_mainloop_lock(mainloop_);
  closeStreamLocked();
  sourceName_.reset();
  sourceIndex_ = PA_INVALID_INDEX;
  pa_threaded_mainloop_unlock(mainloop_);
}

std::string PulseCaptureSession::microphoneMode() {
  std::lock_guard lock(modeMutex_);
  return mode_;
}

// ---- the record stream ----

bool PulseCaptureSession::startRunning() {
  if (!mainloop_) return false;
  pa_threaded_mainloop_lock(mainloop_);
  bool ok = false;
  if (stream_ && pa_stream_get_state(stream_) == PA_STREAM_READY) {
    ok = true;
  } else if (sourceName_) {
    closeStreamLocked();
    if (ensureContextLocked()) {
      pa_sample_spec spec{PA_SAMPLE_FLOAT32NE, static_cast<std::uint32_t>(sampleRate_), 1};
      pa_channel_map map;
      pa_channel_map_init_mono(&map);
      stream_ = pa_stream_new(context_, "Dictation", &spec, &map);
      if (stream_) {
        pa_stream_set_state_callback(stream_, &Callbacks::streamState, this);
        pa_stream_set_read_callback(stream_, &Callbacks::streamRead, this);
        pa_stream_set_suspended_callback(stream_, &Callbacks::streamSuspended, this);
        pa_buffer_attr attributes;
        std::memset(&attributes, 0xff, sizeof attributes);
        attributes.fragsize =
            static_cast<std::uint32_t>(pa_usec_to_bytes(options_.fragmentMs * PA_USEC_PER_MSEC, &spec));
        // A stream that lost its source fails instead of moving silently to another input.
        auto flags = static_cast<pa_stream_flags_t>(PA_STREAM_ADJUST_LATENCY | PA_STREAM_DONT_MOVE);
        if (pa_stream_connect_record(stream_, sourceName_->c_str(), &attributes, flags) == 0) {
          waitLocked([this] {
            pa_stream_state_t state = pa_stream_get_state(stream_);
            return state == PA_STREAM_READY || !PA_STREAM_IS_GOOD(state);
          });
          ok = pa_stream_get_state(stream_) == PA_STREAM_READY;
        }
        if (!ok) {
          kLog.error(std::string("record stream did not start: ") + pa_strerror(pa_context_errno(context_)));
          closeStreamLocked();
        }
      }
    }
  }
  running_ = ok;
  pa_threaded_mainloop_unlock(mainloop_);
  return ok;
}

void PulseCaptureSession::stopRunning() {
  if (!mainloop_) return;
  pa_threaded_mainloop_lock(mainloop_);
  closeStreamLocked();
  pa_threaded_mainloop_unlock(mainloop_);
}

void PulseCaptureSession::closeStreamLocked() {
  running_ = false;
  if (!stream_) return;
  closingStream_ = true;
  pa_stream_set_read_callback(stream_, nullptr, nullptr);
  pa_stream_set_suspended_callback(stream_, nullptr, nullptr);
  if (PA_STREAM_IS_GOOD(pa_stream_get_state(stream_))) {
    pa_stream_disconnect(stream_);
    waitLocked([this] { return !PA_STREAM_IS_GOOD(pa_stream_get_state(stream_)); });
  }
  pa_stream_set_state_callback(stream_, nullptr, nullptr);
  pa_stream_unref(stream_);
  stream_ = nullptr;
  closingStream_ = false;
}

}  // namespace murvelo
