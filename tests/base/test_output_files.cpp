// The output set: what a folder holds after a commit, after each failure of
// a commit and after a set that was never committed; stale temporaries of a
// killed run; the signal handler; the file-system name limits.
#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "base/output_files.h"
#include "support/console_capture.h"
#include "support/test_support.h"

namespace {

using namespace vktest;
namespace fs = std::filesystem;
using Files = std::map<std::string, std::string>;

Files Snapshot(const std::string &folder) {
  Files files;
  for (const fs::directory_entry &entry : fs::directory_iterator(folder))
    files[entry.path().filename().string()] = ReadFile(entry.path().string());
  return files;
}

int NoLink(const char *, const char *) {
  errno = EPERM;  // a file system without hard links
  return -1;
}
int NoBackupRename(const char *from, const char *to) {
  return std::string(to).ends_with(".bk") ? -1 : std::rename(from, to);
}
int NoOutputRename(const char *from, const char *to) {
  return std::string(to).ends_with(".bk") ? std::rename(from, to) : -1;
}
int NoSecondOutputRename(const char *from, const char *to) {
  return std::string(to).ends_with(".vat") ? -1 : std::rename(from, to);
}

// Writes "new <target>" into the target's temporary and finishes it.
void WriteOutput(VKOutputSet &outputs, const std::string &target, bool finish = true) {
  const int id = outputs.Stage(target);
  ASSERT_GE(id, 0);
  ASSERT_TRUE(WriteFile(outputs.Temporary(id), "new " + fs::path(target).filename().string()));
  if (finish) outputs.Finish(id);
}

// The folder starts with the input "in" and an older backup "in.bk".
TEST(OutputSet, WhatACommitLeaves) {
  const struct Case {
    std::string name;
    VKFileOps ops;
    bool backup;                       // the run replaces its input
    std::vector<std::string> outputs;  // written beside the input, all finished unless `unfinished`
    bool unfinished;                   // the last output is discarded
    bool removeInput;                  // the input's data goes to other names (-septex)
    bool commit;
    VKStatusCode code;
    Files after;
    // 't': stale temporaries of a killed run are links to the input (they
    // must be replaced, not written through); 'b': a run stopped right after
    // its backup took its name left the backup a link to the input (a rename
    // of the new backup onto it leaves both names: the commit removes it).
    char links = 0;
  } cases[] = {
      {"replace the input", {}, true, {"in"}, false, false, true, VKStatusCode::kOk, {{"in", "new in"}, {"in.bk", "input"}}},
      {"copy where there are no links", {nullptr, NoLink}, true, {"in"}, false, false, true, VKStatusCode::kOk,
       {{"in", "new in"}, {"in.bk", "input"}}},
      {"backup refused its name", {NoBackupRename, nullptr}, true, {"in"}, false, false, true,
       VKStatusCode::kCantBackup, {{"in", "input"}, {"in.bk", "older"}}},
      {"output refused its name", {NoOutputRename, nullptr}, true, {"in"}, false, false, true,
       VKStatusCode::kCantWrite, {{"in", "input"}, {"in.bk", "input"}}},
      {"nothing finished", {}, true, {"in"}, true, false, true, VKStatusCode::kOk, {{"in", "input"}, {"in.bk", "older"}}},
      {"never committed", {}, true, {"in"}, false, false, false, VKStatusCode::kOk,
       {{"in", "input"}, {"in.bk", "older"}}},
      {"split outputs", {}, true, {"in.vad", "in.vat"}, false, true, true, VKStatusCode::kOk,
       {{"in.bk", "input"}, {"in.vad", "new in.vad"}, {"in.vat", "new in.vat"}}},
      {"split, second refused", {NoSecondOutputRename, nullptr}, true, {"in.vad", "in.vat"}, false, true, true,
       VKStatusCode::kCantWrite, {{"in", "input"}, {"in.bk", "input"}, {"in.vad", "new in.vad"}}},
      {"split, texture list unfinished", {}, true, {"in.vad", "in.vat"}, true, true, true, VKStatusCode::kOk,
       {{"in.bk", "input"}, {"in.vad", "new in.vad"}}},
      {"binary beside the input", {}, false, {"in.vk"}, false, false, true, VKStatusCode::kOk,
       {{"in", "input"}, {"in.bk", "older"}, {"in.vk", "new in.vk"}}},
      {"stale temporaries", {}, true, {"in"}, false, false, true, VKStatusCode::kOk,
       {{"in", "new in"}, {"in.bk", "input"}}, 't'},
      {"backup already a link", {}, true, {"in"}, false, false, true, VKStatusCode::kOk,
       {{"in", "new in"}, {"in.bk", "input"}}, 'b'},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.name);
    ScratchDir dir;
    const std::string input = dir.file("in");
    ASSERT_TRUE(WriteFile(input, "input"));
    ASSERT_TRUE(WriteFile(dir.file("in.bk"), "older"));
    chmod(input.c_str(), 0640);
    if (c.links == 't') {
      ASSERT_EQ(link(input.c_str(), (input + kTemporarySuffix).c_str()), 0);
      ASSERT_EQ(link(input.c_str(), (input + ".bk" + kTemporarySuffix).c_str()), 0);
    }
    if (c.links == 'b') {
      ASSERT_TRUE(fs::remove(input + ".bk") && link(input.c_str(), (input + ".bk").c_str()) == 0);
    }
    VKStatus status;
    Capture capture(ErrorStream, SetErrorStream);
    {
      VKOutputSet outputs(&c.ops);
      if (c.backup) {
        ASSERT_TRUE(outputs.PrepareBackup(input, input + ".bk"));
      }
      if (c.removeInput) outputs.RemoveAtCommit(input);
      for (size_t i = 0; i < c.outputs.size(); ++i) {
        const bool finish = !(c.unfinished && i + 1 == c.outputs.size());
        WriteOutput(outputs, dir.file(c.outputs[i]), finish);
        if (!finish) outputs.Discard(static_cast<int>(i));
      }
      EXPECT_EQ(Snapshot(dir.path()).count("in.bk"), 1u);
      EXPECT_EQ(ReadFile(input), "input");
      if (c.commit) status = outputs.Commit();
    }
    EXPECT_EQ(status.code, c.code);
    EXPECT_EQ(capture.Text(), c.code == VKStatusCode::kCantWrite
                                   ? "\n##### Error : Can't write " + dir.file(c.outputs.back().ends_with("vat") ? "in.vat" : "in") + "\n"
                                   : "");
    EXPECT_EQ(Snapshot(dir.path()), c.after);
    struct stat info {};
    if (c.after.count("in.bk") && c.after.at("in.bk") == "input") {
      ASSERT_EQ(stat(dir.file("in.bk").c_str(), &info), 0);
      EXPECT_EQ(info.st_mode & 07777, 0640u);
    }
  }
}

// A backup that can be neither linked nor copied (no input), or whose name
// is taken by a folder, is refused at once and leaves nothing behind.
TEST(OutputSet, BackupsThatCannotBeMade) {
  ScratchDir dir;
  ASSERT_TRUE(fs::create_directory(dir.file("in.bk")));
  ASSERT_TRUE(WriteFile(dir.file("in"), "input"));
  VKOutputSet outputs;
  EXPECT_FALSE(outputs.PrepareBackup(dir.file("absent"), dir.file("absent.bk")));
  EXPECT_FALSE(outputs.PrepareBackup(dir.file("in"), dir.file("in.bk")));
  EXPECT_EQ(Snapshot(dir.path()).size(), 2u);
  EXPECT_TRUE(fs::is_empty(dir.file("in.bk")));
}

// The handler of a stopped run, in a child process: the child prepares a
// backup and two outputs, then the signal comes. A handled signal removes the
// temporaries and still ends the child by that signal; an ignored one stays
// ignored; once the set is gone, the signal's own action is back. While a set
// exists, writing past the file-size limit fails instead of ending the
// process.
TEST(OutputSet, SignalsRemoveTheTemporaries) {
  enum class Then { kRaise, kRaiseAfterTheSet, kWritePastTheLimit };
  const struct Case {
    const char *name;
    int signal;
    bool ignoredBefore;
    Then then;
    int endedBy;   // signal, 0 for a normal exit
    size_t files;  // in the folder afterwards
  } cases[] = {
      {"SIGTERM", SIGTERM, false, Then::kRaise, SIGTERM, 1},
      {"SIGINT", SIGINT, false, Then::kRaise, SIGINT, 1},
      {"SIGHUP", SIGHUP, false, Then::kRaise, SIGHUP, 1},
      {"ignored SIGHUP", SIGHUP, true, Then::kRaise, 0, 1},
      {"SIGTERM after the set", SIGTERM, false, Then::kRaiseAfterTheSet, SIGTERM, 1},
      {"file-size limit", SIGXFSZ, false, Then::kWritePastTheLimit, 0, 1},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.name);
    ScratchDir dir;
    const std::string input = dir.file("in");
    ASSERT_TRUE(WriteFile(input, "input"));
    const pid_t child = fork();
    if (child == 0) {
      if (c.ignoredBefore) signal(c.signal, SIG_IGN);
      {
        VKOutputSet outputs;
        if (!outputs.PrepareBackup(input, input + ".bk")) _exit(2);
        for (const char *name : {"in", "in.vat"}) {
          const int id = outputs.Stage(dir.file(name));
          if (id < 0 || !WriteFile(outputs.Temporary(id), "partial")) _exit(3);
        }
        if (c.then == Then::kRaise) raise(c.signal);
        if (c.then == Then::kWritePastTheLimit) {
          const rlimit limit{4, 4};
          setrlimit(RLIMIT_FSIZE, &limit);
          const int fd = open(outputs.Temporary(0).c_str(), O_WRONLY | O_APPEND);
          if (write(fd, "0123456789", 10) >= 0 || errno != EFBIG) _exit(4);
          close(fd);
        }
      }
      if (c.then == Then::kRaiseAfterTheSet) raise(c.signal);
      _exit(0);
    }
    int raw = 0;
    ASSERT_EQ(waitpid(child, &raw, 0), child);
    if (c.endedBy != 0) {
      ASSERT_TRUE(WIFSIGNALED(raw));
      EXPECT_EQ(WTERMSIG(raw), c.endedBy);
    } else {
      ASSERT_TRUE(WIFEXITED(raw));
      EXPECT_EQ(WEXITSTATUS(raw), 0);
    }
    EXPECT_EQ(Snapshot(dir.path()), (Files{{"in", "input"}}));
  }
}

TEST(OutputSet, NameLimitsOfTheFileSystem) {
  ScratchDir dir;
  std::string longPath = dir.path();
  while (longPath.size() < PATH_MAX) longPath += "/" + std::string(200, 'p');
  const struct { std::string name; long limit, length; } cases[] = {
      {dir.file(std::string(255, 'a')), 0, 255},
      {dir.file(std::string(256, 'a')), 255, 256},
      {std::string(255, 'a'), 0, 255},  // in the current folder
      {std::string(256, 'a'), 255, 256},
      {dir.file("absent/" + std::string(256, 'a')), NAME_MAX, 256},  // a folder that is not there: NAME_MAX
      {longPath, PATH_MAX - 1, static_cast<long>(longPath.size())},
  };
  for (const auto &c : cases) {
    long length = 0;
    EXPECT_EQ(VKNameLimitBroken(c.name, &length), c.limit) << c.name.size();
    EXPECT_EQ(length, c.length);
  }
}

}  // namespace
