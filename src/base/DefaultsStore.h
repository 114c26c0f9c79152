#pragma once

#include <cstdint>
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
  // persisting fails; the returned status says whether it reached the disk.
  Status set(std::string_view key, const DefaultsValue& value);
  Status setString(std::string_view key, std::string value) { return set(key, std::move(value)); }
  Status setBool(std::string_view key, bool value) { return set(key, value); }
  Status setInteger(std::string_view key, std::int64_t value) { return set(key, value); }
  Status setDouble(std::string_view key, double value) { return set(key, value); }
  Status setData(std::string_view key, Bytes value) { return set(key, std::move(value)); }
  Status setStringList(std::string_view key, StringList value) { return set(key, std::move(value)); }
  Status remove(std::string_view key);

  static nlohmann::json encode(const DefaultsValue& value);
  static std::optional<DefaultsValue> decode(const nlohmann::json& stored);

 protected:
  DefaultsStore() = default;
  explicit DefaultsStore(nlohmann::json document);

  // Writes the whole document somewhere lasting. Called with the store's lock held.
  virtual Status persist(const nlohmann::json& document) = 0;

 private:
  mutable std::mutex mutex_;
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
