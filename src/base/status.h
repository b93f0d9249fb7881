// Errors as values. A failure below the driver comes back as a status: what
// went wrong and the text the program prints for it. Failures that the
// program reports where they happen (and then goes on to stop the run) are
// printed there and marked reported; the others are printed by the driver
// when it stops the run. Nothing below the driver ends the process.
#pragma once

#include <cstdint>
#include <new>
#include <string>

enum class VKStatusCode : uint8_t {
  kOk,
  kRefused,      // the run cannot take this way (route, input kind, name, size); nothing was touched
  kBadInput,     // the input could not be read as a model
  kBadModel,     // the scene has no root
  kBadMesh,      // a mesh-bearing node without a mesh
  kTooDeep,      // a hierarchy too deep for bone removal
  kOutOfMemory,  // an allocation failed
  kBadRewrite,   // a rewrite outside the binary image written so far
  kCantBackup,   // the input could not be moved to its backup name
  kCantOpen,     // an output file could not be created
  kCantWrite,    // an output file could not be written or put into place
  kBadObject,    // an object was written in a form it does not fit (an illegal instance)
};

struct VKStatus {
  VKStatusCode code = VKStatusCode::kOk;
  std::string message;    // the text printed for it
  bool reported = false;  // already printed where it happened
  bool plain = false;     // printed straight to stderr instead of the error stream
  bool ok() const { return code == VKStatusCode::kOk; }
};

// A failure not printed yet: the driver prints it when it stops the run.
VKStatus VKStopStatus(VKStatusCode code, const char *format, ...) __attribute__((format(printf, 2, 3)));
// A failure printed now through PrintError and carried on as reported.
VKStatus VKErrorStatus(VKStatusCode code, const char *format, ...) __attribute__((format(printf, 2, 3)));
// A failure that something else has printed already.
VKStatus VKReportedStatus(VKStatusCode code);
// Prints a failure that has not been reported: through PrintError, or
// straight to stderr when it is plain. Does nothing for the others.
void VKPrintStop(const VKStatus &status);

// An allocator that cannot get memory throws this with its message; the
// driver catches it, prints the message and stops the run, so that every
// clean-up on the way (the output's temporary file, the input's backup) runs.
// The message is held without allocating.
class VKOutOfMemory : public std::bad_alloc {
 public:
  VKOutOfMemory(bool plain, const char *format, ...) __attribute__((format(printf, 3, 4)));
  const char *what() const noexcept override { return message_; }
  VKStatus status() const;

 private:
  char message_[192];
  bool plain_;
};
