// Index of block names for the linking step: answers the reader's three
// kinds of search (first from the start, last from the end, last at or
// before a position) without scanning the table. Internal to the reader.
#pragma once

#include <cstdint>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace vkreader {

class NameIndex {
 public:
  // Positions must be added in increasing order; the viewed text must stay
  // alive as long as the index.
  void Add(std::string_view name, int32_t position);
  // Position of the first entry with the name, or -1.
  int32_t First(std::string_view name) const;
  // Position of the last entry with the name, or -1.
  int32_t Last(std::string_view name) const;
  // Position of the last entry with the name at or before `position`, or -1.
  int32_t LastAtOrBefore(std::string_view name, int32_t position) const;

 private:
  const std::vector<int32_t> *Find(std::string_view name) const;
  std::unordered_map<std::string_view, std::vector<int32_t>> positions_;
};

}  // namespace vkreader
