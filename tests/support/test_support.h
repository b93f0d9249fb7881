// Shared helpers of the test suites: scratch folders, whole-file reads and
// writes, and end-to-end runs of the built program.
#pragma once

#include <string>
#include <vector>

namespace vktest {

// A fresh empty folder under the system's temporary folder, removed when the
// object goes away.
class ScratchDir {
 public:
  ScratchDir();
  ~ScratchDir();
  ScratchDir(const ScratchDir &) = delete;
  ScratchDir &operator=(const ScratchDir &) = delete;
  const std::string &path() const { return path_; }
  std::string file(const std::string &name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

std::string ReadFile(const std::string &name);  // empty when missing
bool WriteFile(const std::string &name, const std::string &bytes);
bool Exists(const std::string &name);

struct RunResult {
  int status = -1;
  std::string out;  // standard output
  std::string err;  // standard error
};

// Runs the built vkconv with the arguments in the folder `cwd`.
RunResult RunVkconv(const std::vector<std::string> &args, const std::string &cwd);
// Runs `program` (a path) with the arguments in the folder `cwd`.
RunResult RunProgram(const std::string &program, const std::vector<std::string> &args, const std::string &cwd);

// Path of the built program and of the source tree.
std::string VkconvPath();
std::string SourceDir();

}  // namespace vktest
