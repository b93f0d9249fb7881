#include "frontend/depfile.h"

#include <algorithm>
#include <cstdint>
#include <vector>

#include "base/run_record.h"
#include "texture/texture_io.h"

namespace {

bool Escaped(const std::string &name, std::string *out, std::string *error) {
  size_t backslashes = 0;
  for (char c : name) {
    if (c == '\n' || c == '\r') {
      *error = "the name \"" + name + "\" holds a line end";
      return false;
    }
    if (c == ' ' || c == '\t') {
      out->append(backslashes, '\\');  // doubled: they would escape the blank's backslash
      *out += '\\';
    } else if (c == '#') {
      *out += '\\';
    } else if (c == '$') {
      *out += '$';
    }
    backslashes = c == '\\' ? backslashes + 1 : 0;
    *out += c;
  }
  return true;
}

}  // namespace

bool VKDependencyText(const VKRunRecord &record, std::string *text, std::string *error) {
  std::vector<std::string> prerequisites;
  for (const std::string &name : record.read) {
    if (std::find(record.written.begin(), record.written.end(), name) == record.written.end())
      prerequisites.push_back(name);
  }
  text->clear();
  if (record.written.empty()) {
    *error = "the run wrote no file";
    return false;
  }
  for (size_t i = 0; i < record.written.size(); ++i) {
    if (i > 0) *text += ' ';
    if (!Escaped(record.written[i], text, error)) return false;
  }
  *text += ':';
  for (const std::string &name : prerequisites) {
    *text += " \\\n ";
    if (!Escaped(name, text, error)) return false;
  }
  *text += '\n';
  for (const std::string &name : prerequisites) {
    *text += '\n';
    if (!Escaped(name, text, error)) return false;
    *text += ":\n";
  }
  return true;
}

bool VKWriteDependencyFile(const char *path, const VKRunRecord &record, std::string *error) {
  std::string text;
  if (!VKDependencyText(record, &text, error)) return false;
  if (!PVR_WriteWholeFile(path, std::vector<uint8_t>(text.begin(), text.end()))) {
    *error = "it cannot be written";
    return false;
  }
  return true;
}
