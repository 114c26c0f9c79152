#include "base/DefaultsStore.h"

#include "base/Base64.h"
#include "base/Utf8.h"

namespace murvelo {
namespace {

constexpr const char* kDataField = "data";

template <typename T>
std::optional<T> as(const std::optional<DefaultsValue>& value) {
  if (!value) return std::nullopt;
  if (const T* typed = std::get_if<T>(&*value)) return *typed;
  return std::nullopt;
}

bool isStorableText(const DefaultsValue& value) {
  if (const auto* text = std::get_if<std::string>(&value)) return isValidUtf8(*text);
  if (const auto* list = std::get_if<StringList>(&value)) {
    for (const auto& item : *list) {
      if (!isValidUtf8(item)) return false;
    }
  }
  return true;
}

}  // namespace

DefaultsStore::DefaultsStore(nlohmann::json document)
    : document_(document.is_object() ? std::move(document) : nlohmann::json::object()) {}

nlohmann::json DefaultsStore::encode(const DefaultsValue& value) {
  return std::visit(
      [](const auto& v) -> nlohmann::json {
        using T = std::decay_t<decltype(v)>;
        if constexpr (std::is_same_v<T, Bytes>) {
          return nlohmann::json{{kDataField, base64Encode(v)}};
        } else {
          return nlohmann::json(v);
        }
      },
      value);
}

std::optional<DefaultsValue> DefaultsStore::decode(const nlohmann::json& stored) {
  switch (stored.type()) {
    case nlohmann::json::value_t::string: return stored.get<std::string>();
    case nlohmann::json::value_t::boolean: return stored.get<bool>();
    case nlohmann::json::value_t::number_integer: return stored.get<std::int64_t>();
    case nlohmann::json::value_t::number_unsigned: {
      auto value = stored.get<std::uint64_t>();
      if (value > static_cast<std::uint64_t>(INT64_MAX)) return std::nullopt;
      return static_cast<std::int64_t>(value);
    }
    case nlohmann::json::value_t::number_float: return stored.get<double>();
    case nlohmann::json::value_t::array: {
      StringList list;
      for (const auto& item : stored) {
        if (!item.is_string()) return std::nullopt;
        list.push_back(item.get<std::string>());
      }
      return list;
    }
    case nlohmann::json::value_t::object: {
      auto found = stored.find(kDataField);
      if (stored.size() != 1 || found == stored.end() || !found->is_string()) return std::nullopt;
      auto bytes = base64Decode(found->get<std::string>());
      if (!bytes) return std::nullopt;
      return std::move(*bytes);
    }
    default: return std::nullopt;
  }
}

std::optional<DefaultsValue> DefaultsStore::value(std::string_view key) const {
  std::lock_guard lock(mutex_);
  auto found = document_.find(key);
  if (found == document_.end()) return std::nullopt;
  return decode(*found);
}

std::optional<std::string> DefaultsStore::string(std::string_view key) const {
  return as<std::string>(value(key));
}
std::optional<bool> DefaultsStore::boolean(std::string_view key) const { return as<bool>(value(key)); }
std::optional<std::int64_t> DefaultsStore::integer(std::string_view key) const {
  return as<std::int64_t>(value(key));
}
std::optional<double> DefaultsStore::real(std::string_view key) const {
  auto stored = value(key);
  if (auto whole = as<std::int64_t>(stored)) return static_cast<double>(*whole);
  return as<double>(stored);
}
std::optional<Bytes> DefaultsStore::data(std::string_view key) const { return as<Bytes>(value(key)); }
std::optional<StringList> DefaultsStore::stringList(std::string_view key) const {
  return as<StringList>(value(key));
}

bool DefaultsStore::contains(std::string_view key) const {
  std::lock_guard lock(mutex_);
  return document_.contains(key);
}

std::vector<std::string> DefaultsStore::keys() const {
  std::lock_guard lock(mutex_);
  std::vector<std::string> names;
  for (const auto& item : document_.items()) names.push_back(item.key());
  return names;
}

Status DefaultsStore::set(std::string_view key, const DefaultsValue& value) {
  if (!isValidUtf8(key) || !isStorableText(value)) {
    return Status::error("refused a value for the settings store that is not valid UTF-8");
  }
  return write([&](nlohmann::json& document) { document[std::string(key)] = encode(value); });
}

Status DefaultsStore::remove(std::string_view key) {
  {
    std::lock_guard lock(mutex_);
    if (!document_.contains(key)) return Status::ok();
  }
  return write([&](nlohmann::json& document) { document.erase(std::string(key)); });
}

Status DefaultsStore::write(const std::function<void(nlohmann::json&)>& change) {
  std::lock_guard lock(mutex_);
  Status status = beginWrite();
  change(document_);
  if (status) {
    try {
      status = persist(document_);
    } catch (const std::exception& error) {
      status = Status::error(std::string("settings not written: ") + error.what());
    }
  }
  endWrite();
  return status;
}

Status DefaultsStore::update(const std::function<Status()>& change) {
  std::lock_guard lock(mutex_);
  Status locked = beginWrite();
  Status changed = change();
  endWrite();
  return locked ? changed : locked;
}

void DefaultsStore::replaceDocument(nlohmann::json document) {
  std::lock_guard lock(mutex_);
  document_ = document.is_object() ? std::move(document) : nlohmann::json::object();
}

}  // namespace murvelo
