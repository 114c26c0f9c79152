#pragma once

#include <array>
#include <optional>
#include <string_view>
#include <utility>

namespace murvelo {

// A fixed table of an enum's values and their stored names, read both ways.
template <typename Enum, std::size_t N>
using NameTable = std::array<std::pair<Enum, std::string_view>, N>;

template <typename Enum, std::size_t N>
std::string_view nameOf(const NameTable<Enum, N>& table, Enum value) {
  for (const auto& [entry, name] : table) {
    if (entry == value) return name;
  }
  return {};
}

template <typename Enum, std::size_t N>
std::optional<Enum> parseName(const NameTable<Enum, N>& table, std::string_view raw) {
  for (const auto& [entry, name] : table) {
    if (name == raw) return entry;
  }
  return std::nullopt;
}

}  // namespace murvelo
