#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "base/Status.h"

namespace murvelo {

using Bytes = std::vector<std::uint8_t>;
using StringList = std::vector<std::string>;
using DefaultsValue = std::variant<std::string, bool, std::int64_t, double, Bytes, StringList>;

// The user defaults store: one typed value per key. Reading a key whose stored value has another
// type than the one asked for gives no value, for that key only.
//
// The store is a JSON object in memory; each write persists the whole document through persist().
// Strings, booleans, integers, doubles and string lists are stored as the JSON values they are;
// data is stored as {"data": "<base64>"}. A value of any other shape is kept as found and reads
// as absent.
class DefaultsStore {
 public:
  virtual ~DefaultsStore() = default;

  std::optional<DefaultsValue> value(std::string_view key) const;
  std::optional<std::string> string(std::string_view key) const;
  std::optional<bool> boolean(std::string_view key) const;
  std::optional<std::int64_t> integer(std::string_view key) const;
  // Integers read as doubles too, as a number typed by hand may lack its decimal point.
  std::optional<double> real(std::string_view key) const;
  std::optional<Bytes> data(std::string_view key) const;
  std::optional<StringList> stringList(std::string_view key) const;
  bool contains(std::string_view key) const;
  std::vector<std::string> keys() const;

  // Each write changes the value in memory first, so the running program sees it even when
  // persisting fails; the returned status says whether it reached the disk. A string that is not
  // valid UTF-8 is refused and changes nothing.
  Status set(std::string_view key, const DefaultsValue& value);
  Status setString(std::string_view key, std::string value) { return set(key, std::move(value)); }
  Status setBool(std::string_view key, bool value) { return set(key, value); }
  Status setInteger(std::string_view key, std::int64_t value) { return set(key, value); }
  Status setDouble(std::string_view key, double value) { return set(key, value); }
  Status setData(std::string_view key, Bytes value) { return set(key, std::move(value)); }
  Status setStringList(std::string_view key, StringList value) { return set(key, std::move(value)); }
  Status remove(std::string_view key);

  // Runs `change` (reads and writes of this store) as one step that no other process writing the
  // same store can interleave with: a read-modify-write. Gives the first failure.
  Status update(const std::function<Status()>& change);

  // Re-reads the stored document when another process has changed it since this one last read or
  // wrote it; true when it did. Cheap when nothing changed. Writes do this on their own.
  virtual bool reloadIfChanged() { return false; }

  static nlohmann::json encode(const DefaultsValue& value);
  static std::optional<DefaultsValue> decode(const nlohmann::json& stored);

 protected:
  DefaultsStore() = default;
  explicit DefaultsStore(nlohmann::json document);

  // Writes the whole document somewhere lasting. Called with the store's lock held.
  virtual Status persist(const nlohmann::json& document) = 0;

  // Bracket every write and update(): keep other writers out and bring the document up to date.
  // Nested calls are allowed. A failed begin still needs its end.
  virtual Status beginWrite() { return Status::ok(); }
  virtual void endWrite() {}

  // For subclasses that re-read the document; the store's lock must be held.
  void replaceDocument(nlohmann::json document);
  std::recursive_mutex& storeMutex() const { return mutex_; }

 private:
  Status write(const std::function<void(nlohmann::json&)>& change);

  mutable std::recursive_mutex mutex_;
  nlohmann::json document_ = nlohmann::json::object();
};

// A store that lives only in memory, for tests and for programs that must not touch the disk.
class InMemoryDefaultsStore : public DefaultsStore {
 public:
  InMemoryDefaultsStore() = default;
  explicit InMemoryDefaultsStore(nlohmann::json document) : DefaultsStore(std::move(document)) {}

  // How many writes have been made; lets tests see that a read wrote nothing back.
  int writeCount() const { return writes_; }

 protected:
  Status persist(const nlohmann::json&) override {
    ++writes_;
    return Status::ok();
  }

 private:
  int writes_ = 0;
};

}  // namespace murvelo
