// Status values and the out-of-memory exception.
#include "base/status.h"

#include <cstdarg>
#include <cstdio>

#include "base/console.h"

namespace {

std::string Format(const char *format, va_list args) {
  va_list again;
  va_copy(again, args);
  const int length = std::vsnprintf(nullptr, 0, format, again);
  va_end(again);
  std::string text(length > 0 ? static_cast<size_t>(length) : 0, '\0');
  if (length > 0) std::vsnprintf(text.data(), text.size() + 1, format, args);
  return text;
}

}  // namespace

VKStatus VKStopStatus(VKStatusCode code, const char *format, ...) {
  va_list args;
  va_start(args, format);
  VKStatus status{code, Format(format, args)};
  va_end(args);
  return status;
}

VKStatus VKErrorStatus(VKStatusCode code, const char *format, ...) {
  va_list args;
  va_start(args, format);
  VKStatus status{code, Format(format, args), true};
  va_end(args);
  PrintError("%s", status.message.c_str());
  return status;
}

VKStatus VKReportedStatus(VKStatusCode code) { return VKStatus{code, "", true}; }

void VKPrintStop(const VKStatus &status) {
  if (status.ok() || status.reported) return;
  if (status.plain) {
    std::fputs(status.message.c_str(), stderr);
  } else {
    PrintError("%s", status.message.c_str());
  }
}

VKOutOfMemory::VKOutOfMemory(bool plain, const char *format, ...) : plain_(plain) {
  va_list args;
  va_start(args, format);
  std::vsnprintf(message_, sizeof message_, format, args);
  va_end(args);
}

VKStatus VKOutOfMemory::status() const {
  VKStatus status{VKStatusCode::kOutOfMemory, message_};
  status.plain = plain_;
  return status;
}
