// The refusals shared by the PVR decoder and the PVM reader.
#pragma once

#include <cstdint>
#include <string>

namespace pvr_decode {

// Formats the reason into *error (when given) and returns false.
bool Refuse(std::string *error, const char *format, ...) __attribute__((format(printf, 2, 3)));
// A chunk name for messages, unprintable bytes as '?'.
std::string NameText(const uint8_t *name);

}  // namespace pvr_decode
