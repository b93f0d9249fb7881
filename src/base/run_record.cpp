#include "base/run_record.h"

#include <algorithm>

namespace {

void AddOnce(std::vector<std::string> *names, const std::string &name) {
  if (!name.empty() && std::find(names->begin(), names->end(), name) == names->end()) names->push_back(name);
}

}  // namespace

void VKRunRecord::AddRead(const std::string &name) { AddOnce(&read, name); }
void VKRunRecord::AddWritten(const std::string &name) { AddOnce(&written, name); }
