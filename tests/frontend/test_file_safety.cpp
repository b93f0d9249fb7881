// The user's files across every way a run can end: the suffix of a name in a
// dotted folder, failed runs (a fatal stop, a file-size limit, a read-only
// folder) with an older backup and stale outputs beside the input, names
// too long for the file system, and runs stopped by signals at random
// moments. The input, or the finished output with its backup, is always
// there; an older backup survives a failed run; nothing partial is left.
#include <fcntl.h>
#include <grp.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "support/test_support.h"
#include "support/vka_gen.h"
#include "texture/image_files.h"

// The cases name only the generator settings they change.
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

extern char **environ;

namespace {

using namespace vktest;
namespace fs = std::filesystem;

// Runs the program as a child in `cwd`, its standard error a pipe (no
// file-size limit applies to it), with a file-size limit (bytes, -1: none)
// and, when the tests run as root, as nobody so that folder modes hold.
struct Child { pid_t pid = -1; int err = -1; };

Child StartVkconv(const std::vector<std::string> &args, const std::string &cwd, long fileSizeLimit = -1,
                  bool unprivileged = false) {
  std::vector<std::string> words = {VkconvPath()};
  words.insert(words.end(), args.begin(), args.end());
  std::vector<char *> argv;
  for (std::string &word : words) argv.push_back(word.data());
  argv.push_back(nullptr);
  // Opened before the child drops its rights: nobody need not reach the program.
  const int program = open(VkconvPath().c_str(), O_RDONLY | O_CLOEXEC), null = open("/dev/null", O_RDWR | O_CLOEXEC);
  int ends[2] = {-1, -1};
  if (pipe2(ends, O_CLOEXEC) != 0) return Child{};
  const Child child{fork(), ends[0]};
  if (child.pid == 0) {
    const rlimit limit{static_cast<rlim_t>(fileSizeLimit), static_cast<rlim_t>(fileSizeLimit)};
    if (chdir(cwd.c_str()) != 0 || (fileSizeLimit >= 0 && setrlimit(RLIMIT_FSIZE, &limit) != 0)) _exit(125);
    dup2(null, 0), dup2(null, 1), dup2(ends[1], 2);
    if (unprivileged && geteuid() == 0 && (setgroups(0, nullptr) != 0 || setgid(65534) != 0 || setuid(65534) != 0))
      _exit(125);
    fexecve(program, argv.data(), environ);
    _exit(127);
  }
  close(program), close(ends[1]), close(null);
  return child;
}

struct Ended {
  int status = -1;  // exit status, or -1
  int signal = 0;   // the signal that ended the run
  std::string err;
};

// Reads the child's standard error to its end, then waits for the child.
Ended Wait(const Child &child) {
  Ended ended;
  char buffer[4096];
  for (ssize_t got; (got = read(child.err, buffer, sizeof buffer)) != 0;) {
    if (got > 0) ended.err.append(buffer, static_cast<size_t>(got));
    if (got < 0 && errno != EINTR) break;
  }
  close(child.err);
  int raw = 0;
  if (waitpid(child.pid, &raw, 0) != child.pid) return ended;
  if (WIFEXITED(raw)) ended.status = WEXITSTATUS(raw);
  if (WIFSIGNALED(raw)) ended.signal = WTERMSIG(raw);
  return ended;
}

Ended RunChild(const std::vector<std::string> &args, const std::string &cwd, long fileSizeLimit = -1,
               bool unprivileged = false) {
  return Wait(StartVkconv(args, cwd, fileSizeLimit, unprivileged));
}

// Every entry of a folder by name, with its bytes.
std::map<std::string, std::string> Snapshot(const std::string &folder) {
  std::map<std::string, std::string> files;
  for (const fs::directory_entry &entry : fs::directory_iterator(folder))
    files[entry.path().filename().string()] = entry.is_directory() ? "<folder>" : ReadFile(entry.path().string());
  return files;
}

std::string Names(const std::map<std::string, std::string> &files) {
  std::string names;
  for (const auto &[name, bytes] : files) names += name + " ";
  return names;
}

// With one texture, so that -septex writes a texture-list file too.
VkaGenParams Model(int grid, int objects = 3) {
  return {.baseName = "m", .objects = objects, .gridWidth = grid, .gridHeight = grid, .textures = 1};
}

// The suffix is taken after the last folder separator: a dotted folder name
// never leads the run to some other file (dir.v2/model is not dir.vka).
TEST(FileSafety, SuffixIsTakenAfterTheLastFolderSeparator) {
  for (const std::string arg : {"dir.v2/model", "dir.v2/model.vka", "dir.v2/model.txt", "./dir.v2/../dir.v2/model"}) {
    SCOPED_TRACE(arg);
    ScratchDir dir;
    ASSERT_TRUE(fs::create_directory(dir.file("dir.v2")));
    ASSERT_TRUE(WriteVka(dir.file("dir.v2/model.vka"), Model(2)));
    ASSERT_TRUE(WriteVka(dir.file("dir.vka"), Model(3)));  // unrelated, must stay as it is
    const std::string input = ReadFile(dir.file("dir.v2/model.vka")), other = ReadFile(dir.file("dir.vka"));
    const Ended run = RunChild({arg}, dir.path());
    EXPECT_EQ(run.status, 0);
    EXPECT_TRUE(run.err.starts_with(arg.ends_with("txt") ? "Warning : Mismatch suffix\n[INPUT BASIC]" : "[INPUT BASIC]"));
    EXPECT_EQ(ReadFile(dir.file("dir.v2/model.vka.bk")), input);
    EXPECT_EQ(ReadFile(dir.file("dir.v2/model.vka")).substr(0, 14), "/* VKA 0.86alp");
    EXPECT_EQ(ReadFile(dir.file("dir.vka")), other);
    EXPECT_FALSE(Exists(dir.file("dir.vka.bk")));
    EXPECT_EQ(Names(Snapshot(dir.path())), "dir.v2 dir.vka ");
  }
}

// A run that fails at any step leaves the folder as it was: the input, an
// older backup, stale outputs of an earlier run, and no temporary or partial
// file. The file-size limit cuts the output in the middle (and for a limit
// of 0 at its start); the read-only folder refuses every new file.
TEST(FileSafety, FailedRunsLeaveTheFolderAsItWas) {
  // The sizes of a complete run's outputs, to cut them in half.
  std::map<std::string, long> sizes;
  using Run = std::pair<std::vector<std::string>, std::string>;
  for (const auto &[args, name] : {Run{{"m"}, "m.vka"}, Run{{"m", "-bin"}, "m.vk"}, Run{{"m", "-septex"}, "m.vad"}}) {
    ScratchDir dir;
    ASSERT_TRUE(WriteVka(dir.file("m.vka"), Model(12)));
    ASSERT_EQ(RunChild(args, dir.path()).status, 0);
    sizes[name] = static_cast<long>(fs::file_size(dir.file(name)));
  }
  enum class Failure { kFatalStop, kFileSize, kReadOnly };
  const struct Case {
    std::vector<std::string> options;
    Failure failure;
    long limit;                     // file-size limit, bytes
    std::vector<std::string> stale; // files of an earlier run beside the input
    std::string err;                // the end of what is printed
  } cases[] = {
      {{}, Failure::kFatalStop, 0, {"m.vka.bk"}, "##### Error : Bad Model pointer\n"},
      {{"-septex"}, Failure::kFatalStop, 0, {"m.vka.bk", "m.vad", "m.vat"}, "##### Error : Bad Model pointer\n"},
      {{"-bin"}, Failure::kFatalStop, 0, {"m.vk"}, "##### Error : Bad Model pointer\n"},
      {{}, Failure::kFileSize, 0, {"m.vka.bk"}, "##### Error : Can't write m.vka\n"},
      {{}, Failure::kFileSize, sizes["m.vka"] / 2, {"m.vka.bk"}, "##### Error : Can't write m.vka\n"},
      {{}, Failure::kFileSize, sizes["m.vka"] - 1, {"m.vka.bk"}, "##### Error : Can't write m.vka\n"},
      {{"-septex"}, Failure::kFileSize, sizes["m.vad"] / 2, {"m.vka.bk", "m.vad"}, "##### Error : Can't write m.vad\n"},
      {{"-bin"}, Failure::kFileSize, sizes["m.vk"] / 2, {"m.vk"}, "##### Error : Can't write m.vk\n"},
      {{"-bin", "-septex"}, Failure::kFileSize, 100, {"m.vkd"}, "##### Error : Can't write m.vkd\n"},
      {{}, Failure::kReadOnly, 0, {"m.vka.bk"},
       "Error: Can't create backup file.\nm.vka is left as it was; nothing was written.\n"},
      {{"-septex"}, Failure::kReadOnly, 0, {"m.vad"},
       "Error: Can't create backup file.\nm.vka is left as it was; nothing was written.\n"},
      {{"-bin"}, Failure::kReadOnly, 0, {"m.vk"},
       "##### Error : Can't open file m.vk.tmp~\n\n##### Error : Can't write file!! (m.vk)\n"},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.err + " " + (c.options.empty() ? "" : c.options.back()) + " limit " + std::to_string(c.limit));
    ScratchDir scratch;
    const std::string folder = scratch.file("work");
    ASSERT_TRUE(fs::create_directory(folder));
    ASSERT_TRUE(WriteVka(folder + "/m.vka", Model(12)));
    for (const std::string &name : c.stale) ASSERT_TRUE(WriteFile(folder + "/" + name, "earlier " + name + "\n"));
    const auto before = Snapshot(folder);
    std::vector<std::string> args = {"m"};
    args.insert(args.end(), c.options.begin(), c.options.end());
    if (c.failure == Failure::kFatalStop) args.push_back("-GM");
    if (c.failure == Failure::kReadOnly) {
      fs::permissions(scratch.path(), fs::perms::owner_all | fs::perms::group_exec | fs::perms::others_exec);
      fs::permissions(folder, fs::perms::owner_read | fs::perms::owner_exec | fs::perms::group_read |
                                  fs::perms::group_exec | fs::perms::others_read | fs::perms::others_exec);
      for (const auto &[name, bytes] : before) fs::permissions(folder + "/" + name, fs::perms::others_read, fs::perm_options::add);
    }
    const Ended run = RunChild(args, folder, c.failure == Failure::kFileSize ? c.limit : -1,
                               c.failure == Failure::kReadOnly);
    fs::permissions(folder, fs::perms::owner_all);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.signal, 0);
    EXPECT_EQ(run.err.substr(run.err.size() < c.err.size() ? 0 : run.err.size() - c.err.size()), c.err);
    const auto after = Snapshot(folder);
    EXPECT_EQ(Names(after), Names(before));
    EXPECT_TRUE(after == before) << "a file changed";
  }
}

// Every name a run writes, with its temporary (".tmp~") and the backup's
// (".bk.tmp~"), must fit the folder's name limit (255 here): a run with a
// longer one is refused with one message naming its longest name, before
// anything is read or written; the longest names that fit convert.
TEST(FileSafety, NamesTooLongForTheFileSystemAreRefusedFirst) {
  const struct {
    size_t stem;  // characters before ".vka"
    std::vector<std::string> options;
    std::string longest;  // the name that breaks the limit, after the stem; empty: the run converts
  } cases[] = {
      {243, {}, ""},                     // stem.vka.bk.tmp~ has 255 characters
      {244, {}, ".vka.bk.tmp~"},
      {247, {}, ".vka.bk.tmp~"},  // passes the name buffers, not the file system; the longest name is named
      {247, {"-septex"}, ".vka.bk.tmp~"},
      {247, {"-bin"}, ""},  // stem.vk.tmp~ fits
      {247, {"-bin", "-septex"}, ".vkd.tmp~"},
      {246, {"-bin", "-septex"}, ""},
      {248, {"-bin"}, ".vk.tmp~"},
  };
  for (const auto &c : cases) {
    const std::string stem(c.stem, 'n');
    SCOPED_TRACE(std::to_string(c.stem) + (c.options.empty() ? "" : " " + c.options.back()));
    ScratchDir dir;
    ASSERT_TRUE(WriteVka(dir.file(stem + ".vka"), Model(2)));
    ASSERT_TRUE(teximg::WriteBytes(dir.file("tex0.bmp"), teximg::Bmp(teximg::RandomImage(8, 8, 1, false))));
    const auto before = Snapshot(dir.path());
    std::vector<std::string> args = {stem};
    args.insert(args.end(), c.options.begin(), c.options.end());
    const Ended run = RunChild(args, dir.path());
    EXPECT_EQ(run.status, 0);
    if (c.longest.empty()) {
      EXPECT_EQ(run.err.find("Error"), std::string::npos) << run.err;
      EXPECT_NE(Snapshot(dir.path()), before);
    } else {
      const std::string written = stem + c.longest;
      EXPECT_EQ(run.err, "Error : File name too long: " + stem + ".vka (the run writes " + written + ", " +
                             std::to_string(written.size()) + " characters; at most 255 here)\n");
      EXPECT_TRUE(Snapshot(dir.path()) == before);
    }
  }
}

// Runs stopped by SIGTERM, SIGINT or SIGKILL at random moments of a
// conversion: afterwards the input is under its own name, or the finished
// output is there with the input as its backup; never neither. The older
// backup is replaced only by the input. After a handled signal no temporary
// is left; after SIGKILL (which cannot be handled) a temporary may be, and
// the next run completes over it and leaves none.
TEST(FileSafety, RunsStoppedAtAnyMomentLoseNothing) {
  ScratchDir reference;
  ASSERT_TRUE(WriteVka(reference.file("m.vka"), Model(40, 6)));
  const std::string input = ReadFile(reference.file("m.vka"));
  const auto started = std::chrono::steady_clock::now();
  ASSERT_EQ(RunChild({"m", "-septex"}, reference.path()).status, 0);
  const long took = std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - started)
                        .count();
  ASSERT_TRUE(WriteFile(reference.file("m.vka"), input));
  ASSERT_EQ(RunChild({"m"}, reference.path()).status, 0);
  const std::string output = ReadFile(reference.file("m.vka")), data = ReadFile(reference.file("m.vad")),
                    texList = ReadFile(reference.file("m.vat"));
  ASSERT_FALSE(texList.empty());
  const std::string older = "older backup\n";

  std::mt19937 random(1234);
  const int signals[] = {SIGTERM, SIGINT, SIGKILL};
  std::map<std::string, int> outcomes;  // how far the runs got, for the trace
  for (int round = 0; round < 36; ++round) {
    const bool septex = round % 2 == 1;
    const int signal = signals[round / 2 % 3];
    SCOPED_TRACE("round " + std::to_string(round));
    ScratchDir dir;
    ASSERT_TRUE(WriteFile(dir.file("m.vka"), input));
    ASSERT_TRUE(WriteFile(dir.file("m.vka.bk"), older));
    std::vector<std::string> args = {"m"};
    if (septex) args.push_back("-septex");
    const Child child = StartVkconv(args, dir.path());
    std::this_thread::sleep_for(std::chrono::microseconds(random() % (took + took / 4 + 1)));
    kill(child.pid, signal);
    const Ended ended = Wait(child);

    auto files = Snapshot(dir.path());
    const auto has = [&](const std::string &name, const std::string &bytes) {
      return files.count(name) != 0 && files[name] == bytes;
    };
    bool finished;
    if (!septex) {
      finished = has("m.vka", output);
      EXPECT_TRUE(finished ? has("m.vka.bk", input) : has("m.vka", input) && (has("m.vka.bk", older) || has("m.vka.bk", input)))
          << Names(files);
    } else {
      finished = has("m.vad", data) && has("m.vat", texList) && has("m.vka.bk", input);
      EXPECT_TRUE(finished || has("m.vka", input)) << Names(files);
      EXPECT_TRUE(has("m.vka.bk", older) || has("m.vka.bk", input));
      EXPECT_TRUE(!files.count("m.vad") || has("m.vad", data));
      EXPECT_TRUE(!files.count("m.vat") || has("m.vat", texList));
    }
    for (const auto &[name, bytes] : files)
      EXPECT_TRUE(name.ends_with(".tmp~") ? signal == SIGKILL : name == "m.vka" || name == "m.vka.bk" || name == "m.vad" || name == "m.vat")
          << name << " left";
    outcomes[ended.signal != 0 ? (finished ? "stopped after commit" : "stopped before commit") : "completed"]++;

    // Whatever the stop left, a new run completes and leaves no temporary.
    if (files.count("m.vka") != 0 && files["m.vka"] == input) {
      ASSERT_EQ(RunChild(args, dir.path()).status, 0);
      files = Snapshot(dir.path());
      EXPECT_TRUE(has("m.vka.bk", input));
      EXPECT_TRUE(septex ? has("m.vad", data) && files.count("m.vka") == 0 : has("m.vka", output));
      for (const auto &[name, bytes] : files) EXPECT_FALSE(name.ends_with(".tmp~")) << name;
    }
  }
  std::string trace;
  for (const auto &[outcome, count] : outcomes) trace += outcome + ": " + std::to_string(count) + "; ";
  RecordProperty("outcomes", trace);
}

}  // namespace
