// Name index of the linking step.
#include "reader/name_index.h"

#include <algorithm>

namespace vkreader {

void NameIndex::Add(std::string_view name, int32_t position) { positions_[name].push_back(position); }

const std::vector<int32_t> *NameIndex::Find(std::string_view name) const {
  auto it = positions_.find(name);
  return it == positions_.end() ? nullptr : &it->second;
}

int32_t NameIndex::First(std::string_view name) const {
  const std::vector<int32_t> *list = Find(name);
  return list ? list->front() : -1;
}

int32_t NameIndex::Last(std::string_view name) const {
  const std::vector<int32_t> *list = Find(name);
  return list ? list->back() : -1;
}

int32_t NameIndex::LastAtOrBefore(std::string_view name, int32_t position) const {
  const std::vector<int32_t> *list = Find(name);
  if (!list) return -1;
  auto it = std::upper_bound(list->begin(), list->end(), position);
  return it == list->begin() ? -1 : *(it - 1);
}

}  // namespace vkreader
