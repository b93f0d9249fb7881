// The writer state: opening, the three modes, and closing, which writes the
// byte image and puts an owned output file into place.
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "base/console.h"
#include "base/run_record.h"
#include "binary/vkprint.h"
#include "binary/writer_state.h"

namespace vkbin {
namespace {

void ResetState(WriterState &state) {
  state.status = VKStatus{};
  state.file = stderr;
  state.ownsFile = false;
  state.outputId = -1;
  state.textUsed = 0;
  state.mode = kVKModeAscii;
  state.openChunk = 0;
  state.skip = state.dump = state.write = state.plain = false;
  state.sizePosition = 0;
  state.argumentsUsed = state.markersUsed = 0;
  for (const char *&text : state.argumentText) text = nullptr;
  ReleaseChunk(state);
  state.image.allocate = state.hooks.allocate;
  ImageInit(state);
}

// An owned output that is still open leaves no temporary file behind; the
// target is untouched.
void RemoveUnfinishedOutput(WriterState &state) {
  if (!state.ownsFile) return;
  state.textUsed = 0;
  if (state.file) std::fclose(state.file);
  state.outputs->Discard(state.outputId);
  state.ownsFile = false;
  state.file = stderr;
}

void SetMode(WriterState &state, int mode, bool dump, bool write) {
  state.mode = mode;
  state.dump = dump;
  state.write = write;
}

}  // namespace

void FlushText(WriterState &state) {
  if (state.textUsed > 0) std::fwrite(state.text.get(), 1, state.textUsed, state.file);
  state.textUsed = 0;
}

void Fail(WriterState &state, VKStatus status) {
  if (state.status.ok()) state.status = std::move(status);
}

}  // namespace vkbin

using vkbin::WriterState;

VKWriter::VKWriter(const VKWriterHooks *hooks, VKOutputSet *outputs) : state_(std::make_unique<WriterState>()) {
  WriterState &state = *state_;
  state.hooks = hooks ? *hooks : VKWriterHooks{};
  state.outputs = outputs;
  state.formats = std::make_unique<VKTextFormats>();
  if (!outputs) {
    const VKFileOps ops{state.hooks.rename, nullptr};
    state.ownOutputs = std::make_unique<VKOutputSet>(&ops);
    state.outputs = state.ownOutputs.get();
  }
  state.pool = PagedPool{};
  state.poolLive = false;
  state.image = BufferChain{};
  vkbin::ResetState(state);
}

VKWriter::~VKWriter() {
  vkbin::RemoveUnfinishedOutput(*state_);
  vkbin::ReleaseChunk(*state_);
  vkbin::ImageFree(*state_);
}

void VKWriteOpen(VKWriter &writer, FILE *file) { writer.state().file = file ? file : stderr; }

VKStatus VKWriteOpenFile(VKWriter &writer, const char *name) {
  WriterState &state = writer.state();
  vkbin::RemoveUnfinishedOutput(state);
  const int id = state.outputs->Stage(name);
  const std::string temporary = id >= 0 ? state.outputs->Temporary(id) : std::string(name) + kTemporarySuffix;
  FILE *file = nullptr;
  if (id >= 0) {
    file = state.hooks.open ? state.hooks.open(temporary.c_str(), "wb") : std::fopen(temporary.c_str(), "wb");
    if (!file) state.outputs->Discard(id);
  }
  // Larger writes than the default buffer: model files run to many megabytes.
  // The buffer stays with the writer; the file is closed before it goes.
  if (file) {
    if (!state.fileBuffer) state.fileBuffer = std::make_unique<char[]>(vkbin::kFileBufferSize);
    std::setvbuf(file, state.fileBuffer.get(), _IOFBF, vkbin::kFileBufferSize);
  }
  if (!file) return VKErrorStatus(VKStatusCode::kCantOpen, "Error : Can't open file %s\n", temporary.c_str());
  state.file = file;
  state.ownsFile = true;
  state.outputId = id;
  return VKStatus{};
}

void VKWriteSetBin(VKWriter &writer) { vkbin::SetMode(writer.state(), kVKModeBinary, false, true); }

void VKWriteSetBinDebug(VKWriter &writer) {
  vkbin::SetMode(writer.state(), kVKModeBinDebug, true, true);
  SetInfoStream(nullptr);
}

void VKWriteSetAscii(VKWriter &writer) { vkbin::SetMode(writer.state(), kVKModeAscii, false, false); }

int VKWriteGetMode(const VKWriter &writer) { return writer.state().mode; }

const VKWriterHooks *VKWriteHooks(const VKWriter &writer) { return &writer.state().hooks; }

const VKStatus &VKWriteStatus(const VKWriter &writer) { return writer.state().status; }

VKStatus VKWriteClose(VKWriter &writer) {
  WriterState &state = writer.state();
  VKStatus result;
  if (vkbin::Failed(state)) {
    result = state.status;
    vkbin::RemoveUnfinishedOutput(state);
  } else {
    bool ok = true;
    vkbin::FlushText(state);
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
      if (ok) {
        state.outputs->Finish(state.outputId);
        if (state.hooks.record != nullptr) state.hooks.record->AddWritten(state.outputs->Target(state.outputId));
        // A writer of its own commits the file at once.
        if (state.ownOutputs) result = state.outputs->Commit();
      } else {
        result = VKErrorStatus(VKStatusCode::kCantWrite, "Error : Can't write %s\n",
                               state.outputs->Target(state.outputId).c_str());
        state.outputs->Discard(state.outputId);
      }
    } else if (!ok) {
      if (state.write && state.file && state.file != stderr) {
        result = VKErrorStatus(VKStatusCode::kCantWrite, "Error : Can't write %s\n", "binary file");
      } else {
        result = VKReportedStatus(VKStatusCode::kCantWrite);
      }
    }
  }
  vkbin::ReleaseChunk(state);
  vkbin::ImageFree(state);
  vkbin::ResetState(state);
  return result;
}
