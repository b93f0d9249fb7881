// The writer state: opening, the three modes, and closing, which writes the
// byte image and puts an owned output file into place.
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "binary/vkprint.h"
#include "binary/writer_state.h"
#include "frontend/console.h"

namespace vkbin {
namespace {

std::unique_ptr<WriterState> gState;
bool gTextureTagsSilenced = false;
bool gExitHookInstalled = false;

void ResetState(WriterState &state) {
  state.file = stderr;
  state.ownsFile = false;
  state.targetName.clear();
  state.temporaryName.clear();
  state.mode = kVKModeAscii;
  state.openChunk = 0;
  state.skip = state.dump = state.write = state.plain = false;
  state.sizePosition = 0;
  state.argumentsUsed = state.markersUsed = 0;
  for (const char *&text : state.argumentText) text = nullptr;
  state.pool = PagedPool{};
  state.poolLive = false;
  ReleaseChunk(state);
  ImageInit(state);
}

// An owned output that is still open when the process ends (a fatal error
// during the run) leaves no temporary file behind; the target is untouched.
void RemoveUnfinishedOutput() {
  if (!gState || !gState->ownsFile) return;
  if (gState->file) std::fclose(gState->file);
  std::remove(gState->temporaryName.c_str());
  gState->ownsFile = false;
  gState->file = stderr;
}

void SetMode(int mode, bool dump, bool write) {
  WriterState &state = State();
  state.mode = mode;
  state.dump = dump;
  state.write = write;
}

}  // namespace

WriterState &State() {
  if (!gState) {
    gState = std::make_unique<WriterState>();
    ResetState(*gState);
  }
  return *gState;
}

bool StateExists() { return gState != nullptr; }

}  // namespace vkbin

using vkbin::State;
using vkbin::WriterState;

void VKWriteOpen(FILE *file) {
  State().file = file ? file : stderr;
}

FILE *VKWriteOpenFile(const char *name) {
  std::string temporary = std::string(name) + ".tmp~";
  FILE *file = std::fopen(temporary.c_str(), "wb");
  if (!file) {
    PrintError("Error : Can't open file %s\n", temporary.c_str());
    return nullptr;
  }
  if (!vkbin::gExitHookInstalled) {
    std::atexit(vkbin::RemoveUnfinishedOutput);
    vkbin::gExitHookInstalled = true;
  }
  AddFatalCleanup(vkbin::RemoveUnfinishedOutput);
  WriterState &state = State();
  state.file = file;
  state.ownsFile = true;
  state.targetName = name;
  state.temporaryName = temporary;
  return file;
}

void VKWriteSetBin() { vkbin::SetMode(kVKModeBinary, false, true); }

void VKWriteSetBinDebug() {
  vkbin::SetMode(kVKModeBinDebug, true, true);
  SetInfoStream(nullptr);
  vkbin::gTextureTagsSilenced = true;
}

void VKWriteSetAscii() { vkbin::SetMode(kVKModeAscii, false, false); }

int VKWriteGetMode() { return vkbin::StateExists() ? State().mode : kVKModeAscii; }

bool VKTextureTagsSilenced() { return vkbin::gTextureTagsSilenced; }

bool VKWriteClose() {
  if (!vkbin::StateExists()) return true;
  WriterState &state = State();
  bool ok = true;
  if (state.dump) vkbin::ImageDump(state);
  if (state.write) {
    if (!state.file || state.file == stderr) {
      PrintError("Error : Bad fp! Can't flash binary\n");
      ok = false;
    } else if (!BufferWrite(&state.image, state.file)) {
      ok = false;
    }
  }
  if (state.ownsFile) {
    ok = !std::ferror(state.file) && ok;
    ok = (std::fclose(state.file) == 0) && ok;
    state.file = stderr;
    state.ownsFile = false;
    if (ok && std::rename(state.temporaryName.c_str(), state.targetName.c_str()) != 0) ok = false;
    if (!ok) {
      std::remove(state.temporaryName.c_str());
      PrintError("Error : Can't write %s\n", state.targetName.c_str());
    }
  } else if (!ok && state.write && state.file && state.file != stderr) {
    PrintError("Error : Can't write %s\n", "binary file");
  }
  vkbin::ReleaseChunk(state);
  vkbin::ImageFree(state);
  vkbin::gState.reset();
  return ok;
}
