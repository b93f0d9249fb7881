// The program's version, as the usage text, the banner and the header of
// every written model file show it.
#pragma once

constexpr const char *kVKVersion = "0.86";
constexpr const char *kVKVersionSuffix = "alpha1";
