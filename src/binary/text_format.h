// The text side of the dual print without the printf machinery: the
// conversions the model writers use, formatted with std::to_chars, which
// gives the same characters as printf for them.
#pragma once

#include <cstdarg>
#include <cstddef>

// Formats like vsnprintf into `out` (at most `room` bytes with the closing
// NUL) and returns the length. Handles the conversions d, i, u, x, X, c, s, f,
// F and %% with the flags '-' and '0', a width, a precision (for s, f and F)
// and the length modifiers h, hh, l, ll and z. For any other format, and for
// a text that does not fit, returns -1; the arguments are read from a copy,
// so the caller formats `args` with printf then.
int VKFormatText(char *out, size_t room, const char *format, va_list args);
