// The per-node names of the write info.
#include "binary/write_info.h"

#include <cstdio>
#include <string>

namespace {

// "%s_%s" of prefix and name into a 256-byte name; longer results are cut.
void JoinName(char (&target)[256], const char *prefix, const char *name) {
  const std::string joined = std::string(prefix) + "_" + name;
  std::snprintf(target, sizeof target, "%s", joined.c_str());
}

}  // namespace

void VKSetNodeNames(VKWriteInfo *info, const char *objectName) {
  JoinName(info->objectBase, info->baseName, objectName ? objectName : "");
  JoinName(info->modelName, "model", info->objectBase);
  JoinName(info->vertexName, "vertex", info->objectBase);
  JoinName(info->stripName, "strip", info->objectBase);
  JoinName(info->objectName, "object", info->objectBase);
}
