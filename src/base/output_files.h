// Safe replacement of the files a run writes.
//
// Every output of a run is written to a temporary file beside its target
// (the target's name followed by ".tmp~"); nothing takes a target's name
// before Commit, which moves the finished outputs into place together at the
// end of the run. A run that fails, fills the disk or is stopped by a signal
// at any moment leaves every target as it was, or finished; never a partial
// file, never neither.
//
// A run that replaces its input (the output takes the input's name) first
// keeps the input as a backup: PrepareBackup, early in the run, makes a hard
// link (or, where the file system has none, a copy) of the input under the
// backup's temporary name. Commit then renames that temporary over the backup
// name (an older backup is replaced only now) and after it renames each
// finished output over its target. At every instant the input's name holds
// the input or the finished output, and the backup's name the older backup or
// the new one. A run whose input leaves its name (the input's data goes to
// other names) asks RemoveAtCommit for the input: it is removed last, once
// its backup and every output are in place.
//
// Temporaries are removed on every failure path: by Discard, by the set's
// destructor (everything not committed), and on SIGINT, SIGTERM and SIGHUP by
// a handler that removes the registered temporaries and then lets the signal
// end the process. While a set exists SIGXFSZ is ignored, so that a file
// larger than the process may write fails as a write error. The handler's
// list of temporaries is the one process-wide record this module keeps; sets
// are used from one thread.
//
//   VKOutputSet outputs(nullptr);
//   outputs.PrepareBackup("ship.vka", "ship.vka.bk");  // default route only
//   const int id = outputs.Stage("ship.vka");         // write Temporary(id)
//   ... outputs.Finish(id) when it is complete, or Discard(id) ...
//   VKStatus status = outputs.Commit();
#pragma once

#include <string>
#include <vector>

#include "base/status.h"

// Appended to a target's name for its temporary.
constexpr const char *kTemporarySuffix = ".tmp~";

// How a set reaches the file system; a null member is the standard call.
// Tests put in failing ones.
struct VKFileOps {
  int (*rename)(const char *from, const char *to);
  int (*link)(const char *from, const char *to);
};

class VKOutputSet {
 public:
  explicit VKOutputSet(const VKFileOps *ops = nullptr);
  // Removes every temporary that was not committed.
  ~VKOutputSet();
  VKOutputSet(const VKOutputSet &) = delete;
  VKOutputSet &operator=(const VKOutputSet &) = delete;

  // Registers the temporary of `target` (any stale file of that name is
  // removed) and returns its id, or -1 when no more temporaries can be
  // registered. The caller creates and writes Temporary(id).
  int Stage(const std::string &target);
  const std::string &Temporary(int id) const;
  const std::string &Target(int id) const;
  // The temporary is complete: Commit moves it over its target.
  void Finish(int id);
  // The temporary is removed now; its target stays as it was.
  void Discard(int id);
  bool HasFinished() const;

  // Keeps `original` as it is now under the temporary of `backup`, to take
  // the name `backup` at Commit. False when neither a link nor a copy can be
  // made (nothing is left behind).
  bool PrepareBackup(const std::string &original, const std::string &backup);
  // `name` is removed at the end of Commit.
  void RemoveAtCommit(const std::string &name);

  // Moves the backup into place, then every finished output, then removes
  // the names asked for. Does nothing (and succeeds) when no output is
  // finished. Fails with kCantBackup, printing nothing and moving no output,
  // when the backup cannot take its name; with kCantWrite, after printing
  // "Error : Can't write <target>", when an output cannot (the outputs moved
  // before it stay, the input is not removed). Every temporary left is
  // removed by the destructor.
  VKStatus Commit();

 private:
  struct Entry {
    std::string target;
    std::string temporary;
    int slot;       // in the signal handler's list, -1 once gone
    bool finished;
  };
  void Drop(Entry &entry);
  int Rename(const char *from, const char *to) const;

  VKFileOps ops_;
  std::vector<Entry> outputs_;
  Entry backup_;
  bool hasBackup_ = false;
  std::vector<std::string> removals_;
};

// The file-system limits a name must keep: its last component no longer than
// the longest name its folder takes (pathconf, NAME_MAX where that is not
// known) and the whole name shorter than PATH_MAX. Returns the limit `name`
// breaks, or 0 when it fits; *length is then the length held against it.
long VKNameLimitBroken(const std::string &name, long *length);
