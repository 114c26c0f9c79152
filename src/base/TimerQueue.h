#pragma once

#include <map>
#include <optional>
#include <utility>

#include "base/MainLoop.h"

namespace murvelo {

// Delayed jobs ordered by due time, then by order of posting. Not thread-safe; loops guard it.
class TimerQueue {
 public:
  MainLoop::TimerId add(MainLoop::TimePoint due, MainLoop::Job job) {
    MainLoop::TimerId id = ++lastId_;
    byKey_.emplace(Key{due, id}, std::move(job));
    dueById_.emplace(id, due);
    return id;
  }

  void cancel(MainLoop::TimerId id) {
    auto found = dueById_.find(id);
    if (found == dueById_.end()) return;
    byKey_.erase(Key{found->second, id});
    dueById_.erase(found);
  }

  std::optional<MainLoop::TimePoint> nextDue() const {
    if (byKey_.empty()) return std::nullopt;
    return byKey_.begin()->first.due;
  }

  // Removes and returns the earliest job if it is due at `now`.
  std::optional<MainLoop::Job> popDue(MainLoop::TimePoint now) {
    if (byKey_.empty() || byKey_.begin()->first.due > now) return std::nullopt;
    auto node = byKey_.extract(byKey_.begin());
    dueById_.erase(node.key().id);
    return std::move(node.mapped());
  }

  bool empty() const { return byKey_.empty(); }

 private:
  struct Key {
    MainLoop::TimePoint due;
    MainLoop::TimerId id;
    bool operator<(const Key& other) const { return due != other.due ? due < other.due : id < other.id; }
  };
  std::map<Key, MainLoop::Job> byKey_;
  std::map<MainLoop::TimerId, MainLoop::TimePoint> dueById_;
  MainLoop::TimerId lastId_ = 0;
};

}  // namespace murvelo
