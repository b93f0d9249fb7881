// What one conversion run read and wrote, for its dependency file (-MF) and
// its -strict status. The driver owns the record of a run and hands it down
// explicitly: to the model writers through their file hooks and the write
// info, to the texture-list section through the write info.
#pragma once

#include <string>
#include <vector>

struct VKRunRecord {
  std::vector<std::string> read;     // files whose contents the outputs depend on, in the order used
  std::vector<std::string> written;  // files the run wrote (committed), in the order written
  std::string input;                 // the model read, by its name after the run; empty: its own name
  int failedTextures = 0;            // listed textures that could not be converted

  // Each name is kept once, as the program named it.
  void AddRead(const std::string &name);
  void AddWritten(const std::string &name);
};
