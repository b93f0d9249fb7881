#include "bench_run.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include "support/test_support.h"

extern char **environ;

namespace vkbench {

long RunVkconvPeak(const std::vector<std::string> &args, const std::string &cwd) {
  std::vector<char *> argv;
  const std::string program = vktest::VkconvPath();
  argv.push_back(const_cast<char *>(program.c_str()));
  for (const std::string &a : args) argv.push_back(const_cast<char *>(a.c_str()));
  argv.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_addchdir_np(&actions, cwd.c_str());
  pid_t pid = 0;
  long peak = -1;
  if (posix_spawn(&pid, program.c_str(), &actions, nullptr, argv.data(), environ) == 0) {
    int status = 0;
    struct rusage usage {};
    if (wait4(pid, &status, 0, &usage) == pid) peak = usage.ru_maxrss;
  }
  posix_spawn_file_actions_destroy(&actions);
  return peak;
}

}  // namespace vkbench
