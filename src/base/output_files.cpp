// Outputs written beside their targets and committed together; the signal
// handler that removes the temporaries of a stopped run.
#include "base/output_files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

// ---- Temporaries known to the signal handler ------------------------------------
// Slots hold copies of the names (null when free). They change only with the
// cleaned signals blocked, so the handler never sees a slot half written.
constexpr int kSlotCount = 256;
std::atomic<char *> gTemporaries[kSlotCount];
static_assert(std::atomic<char *>::is_always_lock_free);

constexpr int kCleanedSignals[] = {SIGINT, SIGTERM, SIGHUP};
constexpr int kCleanedCount = sizeof kCleanedSignals / sizeof kCleanedSignals[0];

struct HandlerState {
  int sets = 0;  // live output sets; the handlers are installed while any is
  struct sigaction previous[kCleanedCount];
  bool installed[kCleanedCount];
  struct sigaction previousFileSize;
};
HandlerState gHandlers;

// Only async-signal-safe calls: unlink the registered names, then the
// default action (restored on entry by SA_RESETHAND) ends the process.
extern "C" void RemoveTemporariesAndStop(int signal) {
  for (std::atomic<char *> &slot : gTemporaries) {
    if (const char *name = slot.load(std::memory_order_acquire)) unlink(name);
  }
  raise(signal);
}

class SignalsBlocked {
 public:
  SignalsBlocked() {
    sigset_t set;
    sigemptyset(&set);
    for (int signal : kCleanedSignals) sigaddset(&set, signal);
    sigprocmask(SIG_BLOCK, &set, &saved_);
  }
  ~SignalsBlocked() { sigprocmask(SIG_SETMASK, &saved_, nullptr); }
  SignalsBlocked(const SignalsBlocked &) = delete;
  SignalsBlocked &operator=(const SignalsBlocked &) = delete;

 private:
  sigset_t saved_;
};

int Register(const std::string &name) {
  char *copy = strdup(name.c_str());
  if (copy == nullptr) return -1;
  SignalsBlocked blocked;
  for (int i = 0; i < kSlotCount; ++i) {
    if (gTemporaries[i].load(std::memory_order_relaxed) == nullptr) {
      gTemporaries[i].store(copy, std::memory_order_release);
      return i;
    }
  }
  std::free(copy);
  return -1;
}

void Unregister(int slot) {
  if (slot < 0) return;
  char *name;
  {
    SignalsBlocked blocked;
    name = gTemporaries[slot].exchange(nullptr, std::memory_order_acq_rel);
  }
  std::free(name);
}

// A signal that the process ignores (a run under nohup) stays ignored.
void InstallHandlers() {
  if (gHandlers.sets++ > 0) return;
  for (int i = 0; i < kCleanedCount; ++i) {
    gHandlers.installed[i] = false;
    if (sigaction(kCleanedSignals[i], nullptr, &gHandlers.previous[i]) != 0) continue;
    if (gHandlers.previous[i].sa_handler == SIG_IGN) continue;
    struct sigaction action {};
    action.sa_handler = RemoveTemporariesAndStop;
    sigfillset(&action.sa_mask);
    action.sa_flags = SA_RESETHAND;
    gHandlers.installed[i] = sigaction(kCleanedSignals[i], &action, nullptr) == 0;
  }
  struct sigaction ignore {};
  ignore.sa_handler = SIG_IGN;
  sigaction(SIGXFSZ, &ignore, &gHandlers.previousFileSize);
}

void RemoveHandlers() {
  if (--gHandlers.sets > 0) return;
  for (int i = 0; i < kCleanedCount; ++i) {
    if (gHandlers.installed[i]) sigaction(kCleanedSignals[i], &gHandlers.previous[i], nullptr);
  }
  sigaction(SIGXFSZ, &gHandlers.previousFileSize, nullptr);
}

// ---- Backup copies ----------------------------------------------------------------
bool WriteAll(int fd, const char *data, size_t size) {
  while (size > 0) {
    const ssize_t written = write(fd, data, size);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    data += written;
    size -= static_cast<size_t>(written);
  }
  return true;
}

// Copies `from` to the new file `to` with the same permission bits; false
// (and no `to`) when any step fails.
bool CopyFile(const char *from, const char *to) {
  const int in = open(from, O_RDONLY | O_CLOEXEC);
  if (in < 0) return false;
  struct stat info {};
  if (fstat(in, &info) != 0) {
    close(in);
    return false;
  }
  const int out = open(to, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, info.st_mode & 07777);
  if (out < 0) {
    close(in);
    return false;
  }
  bool ok = true;
  static constexpr size_t kBlock = 1 << 16;
  char *buffer = static_cast<char *>(std::malloc(kBlock));
  ok = buffer != nullptr;
  while (ok) {
    const ssize_t got = read(in, buffer, kBlock);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) ok = false;
    if (got <= 0) break;
    ok = WriteAll(out, buffer, static_cast<size_t>(got));
  }
  std::free(buffer);
  close(in);
  ok = (close(out) == 0) && ok;
  if (!ok) unlink(to);
  return ok;
}

}  // namespace

VKOutputSet::VKOutputSet(const VKFileOps *ops) : ops_(ops ? *ops : VKFileOps{}) {
  backup_.slot = -1;
  InstallHandlers();
}

VKOutputSet::~VKOutputSet() {
  for (Entry &entry : outputs_) Drop(entry);
  if (hasBackup_) Drop(backup_);
  RemoveHandlers();
}

void VKOutputSet::Drop(Entry &entry) {
  if (entry.slot < 0) return;
  unlink(entry.temporary.c_str());
  Unregister(entry.slot);
  entry.slot = -1;
  entry.finished = false;
}

int VKOutputSet::Rename(const char *from, const char *to) const {
  return ops_.rename ? ops_.rename(from, to) : std::rename(from, to);
}

int VKOutputSet::Stage(const std::string &target) {
  Entry entry{target, target + kTemporarySuffix, -1, false};
  entry.slot = Register(entry.temporary);
  if (entry.slot < 0) return -1;
  // A stale temporary (a run killed outright) may be a link to another
  // file: it goes, so that the new one is created afresh.
  unlink(entry.temporary.c_str());
  outputs_.push_back(std::move(entry));
  return static_cast<int>(outputs_.size()) - 1;
}

const std::string &VKOutputSet::Temporary(int id) const { return outputs_[static_cast<size_t>(id)].temporary; }

const std::string &VKOutputSet::Target(int id) const { return outputs_[static_cast<size_t>(id)].target; }

void VKOutputSet::Finish(int id) {
  Entry &entry = outputs_[static_cast<size_t>(id)];
  if (entry.slot >= 0) entry.finished = true;
}

void VKOutputSet::Discard(int id) { Drop(outputs_[static_cast<size_t>(id)]); }

bool VKOutputSet::HasFinished() const {
  for (const Entry &entry : outputs_) {
    if (entry.finished) return true;
  }
  return false;
}

bool VKOutputSet::PrepareBackup(const std::string &original, const std::string &backup) {
  if (hasBackup_) Drop(backup_);
  hasBackup_ = false;
  // A folder in the backup's place would refuse the rename at the end: said
  // now, before the run has done its work.
  struct stat existing {};
  if (lstat(backup.c_str(), &existing) == 0 && S_ISDIR(existing.st_mode)) return false;
  backup_ = Entry{backup, backup + kTemporarySuffix, -1, false};
  backup_.slot = Register(backup_.temporary);
  hasBackup_ = backup_.slot >= 0;
  if (!hasBackup_) return false;
  const char *temporary = backup_.temporary.c_str();
  unlink(temporary);
  const int linked = ops_.link ? ops_.link(original.c_str(), temporary) : link(original.c_str(), temporary);
  if (linked != 0 && !CopyFile(original.c_str(), temporary)) {
    Drop(backup_);
    hasBackup_ = false;
    return false;
  }
  backup_.finished = true;
  return true;
}

void VKOutputSet::RemoveAtCommit(const std::string &name) { removals_.push_back(name); }

VKStatus VKOutputSet::Commit() {
  if (!HasFinished()) return VKStatus{};
  if (hasBackup_) {
    if (Rename(backup_.temporary.c_str(), backup_.target.c_str()) != 0) {
      return VKStopStatus(VKStatusCode::kCantBackup, "%s", "Error: Can't create backup file.\n");
    }
    // Where the backup was already a link to the input (a run stopped right
    // after this step), the rename finds one file under both names and
    // leaves the temporary: it goes now.
    unlink(backup_.temporary.c_str());
    Unregister(backup_.slot);
    backup_.slot = -1;
  }
  for (Entry &entry : outputs_) {
    if (!entry.finished) continue;
    if (Rename(entry.temporary.c_str(), entry.target.c_str()) != 0) {
      return VKErrorStatus(VKStatusCode::kCantWrite, "Error : Can't write %s\n", entry.target.c_str());
    }
    Unregister(entry.slot);
    entry.slot = -1;
    entry.finished = false;
  }
  for (const std::string &name : removals_) std::remove(name.c_str());
  removals_.clear();
  return VKStatus{};
}

long VKNameLimitBroken(const std::string &name, long *length) {
  const size_t slash = name.rfind('/');
  const std::string folder = slash == std::string::npos ? "." : slash == 0 ? "/" : name.substr(0, slash);
  const size_t component = slash == std::string::npos ? name.size() : name.size() - slash - 1;
  long nameMax = pathconf(folder.c_str(), _PC_NAME_MAX);
  if (nameMax <= 0) nameMax = NAME_MAX;
  if (static_cast<long>(component) > nameMax) {
    *length = static_cast<long>(component);
    return nameMax;
  }
  if (name.size() >= static_cast<size_t>(PATH_MAX)) {
    *length = static_cast<long>(name.size());
    return PATH_MAX - 1;
  }
  *length = static_cast<long>(component);
  return 0;
}
