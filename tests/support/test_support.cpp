#include "support/test_support.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#ifndef VKCONV_BIN
#define VKCONV_BIN "vkconv"
#endif
#ifndef VK_SOURCE_DIR
#define VK_SOURCE_DIR "."
#endif

namespace vktest {

ScratchDir::ScratchDir() {
  std::string pattern = (std::filesystem::temp_directory_path() / "vktest-XXXXXX").string();
  char *made = mkdtemp(pattern.data());
  path_ = made ? made : pattern;
}

ScratchDir::~ScratchDir() {
  std::error_code ec;
  std::filesystem::remove_all(path_, ec);
}

std::string ReadFile(const std::string &name) {
  std::ifstream in(name, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

bool WriteFile(const std::string &name, const std::string &bytes) {
  std::ofstream out(name, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  return static_cast<bool>(out);
}

bool Exists(const std::string &name) { return std::filesystem::exists(name); }

std::string VkconvPath() { return VKCONV_BIN; }
std::string SourceDir() { return VK_SOURCE_DIR; }

namespace {
std::string Quote(const std::string &text) {
  std::string quoted(1, '\'');
  for (char c : text) {
    if (c == '\'') quoted += "'\\''";
    else quoted += c;
  }
  quoted.push_back('\'');
  return quoted;
}
}  // namespace

RunResult RunVkconv(const std::vector<std::string> &args, const std::string &cwd) {
  return RunProgram(VkconvPath(), args, cwd);
}

RunResult RunProgram(const std::string &program, const std::vector<std::string> &args, const std::string &cwd) {
  ScratchDir capture;
  // Built with append: g++ 12 warns falsely on literal + string at -O3.
  std::string command;
  command.append("cd ").append(Quote(cwd)).append(" && ").append(Quote(program));
  for (const std::string &arg : args) command.append(" ").append(Quote(arg));
  command.append(" >").append(Quote(capture.file("out")));
  command.append(" 2>").append(Quote(capture.file("err"))).append(" </dev/null");
  RunResult result;
  int raw = std::system(command.c_str());
  result.status = (raw != -1 && WIFEXITED(raw)) ? WEXITSTATUS(raw) : -1;
  result.out = ReadFile(capture.file("out"));
  result.err = ReadFile(capture.file("err"));
  return result;
}

}  // namespace vktest
