// The archive file's bytes: the header chunk with its entries, the model
// names, the palettes and the textures, each chunk padded so that the texel
// data of every texture starts on a 32-byte boundary.
#include <array>
#include <utility>

#include "base/flags.h"
#include "texture/pvm_internal.h"
#include "texture/pvr_format.h"

namespace pvm {

namespace {

constexpr char kPVMH[4] = {'P', 'V', 'M', 'H'};
constexpr char kMDLN[4] = {'M', 'D', 'L', 'N'};

// Sides with their dimension codes; any other side has the code 8.
constexpr std::array<uint32_t, 7> kSides = {8, 16, 32, 64, 128, 256, 512};
constexpr uint16_t kOtherSide = 8;

uint16_t SideCode(uint32_t side) {
  for (size_t i = 0; i < kSides.size(); ++i)
    if (kSides[i] == side) return static_cast<uint16_t>(i + 1);
  return kOtherSide;
}

bool IsNameCharacter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == '.';
}

// Writes chunks one after the other: Begin puts the name and a size field,
// End pads the chunk and fills in its size (the bytes after the size field,
// padding included).
class ChunkWriter {
 public:
  explicit ChunkWriter(size_t reserve) { out_.reserve(reserve); }
  std::vector<uint8_t> &out() { return out_; }
  void Begin(const char (&name)[4]) {
    start_ = out_.size();
    pvr::PutName(out_, name);
    pvr::Put32(out_, 0);
  }
  void Append(std::span<const uint8_t> bytes) { out_.insert(out_.end(), bytes.begin(), bytes.end()); }
  // alignNext: the next chunk starts at 16 modulo 32 (its 16-byte texture
  // head then ends on a 32-byte boundary); otherwise at a multiple of 4.
  void End(bool alignNext) {
    const size_t end = out_.size();
    const size_t pad = alignNext ? (16 + 32 - end % 32) % 32 : (4 - end % 4) % 4;
    out_.resize(end + pad, 0);
    const uint32_t size = static_cast<uint32_t>(out_.size() - start_ - 8);
    for (int i = 0; i < 4; ++i) out_[start_ + 4 + i] = static_cast<uint8_t>(size >> (8 * i));
  }

 private:
  std::vector<uint8_t> out_;
  size_t start_ = 0;
};

}  // namespace

uint16_t DimensionCode(uint32_t width, uint32_t height) {
  return static_cast<uint16_t>(SideCode(width) | SideCode(height) << 4);
}

std::string_view EntryName(std::string_view path) {
  size_t begin = path.size();
  while (begin > 0 && IsNameCharacter(path[begin - 1])) --begin;
  const std::string_view run = path.substr(begin);
  return run.substr(0, run.find('.'));
}

std::vector<uint8_t> LayoutArchive(uint16_t flags, const std::vector<Entry> &entries,
                                   const std::vector<std::string> &modelNames, const std::vector<Texture> &textures) {
  const bool withModelNames = (flags & vkpvm::kModelNames) != 0 && !modelNames.empty();
  const bool withPalettes = (flags & vkpvm::kPalettes) != 0 && !textures.empty();
  size_t reserve = 12 + 38 * entries.size() + 64;
  for (const std::string &name : modelNames) reserve += name.size() + 1;
  for (const Texture &texture : textures)
    reserve += texture.file.size() - texture.textureAt + texture.palette.size() + 2 * 32;
  ChunkWriter writer(reserve);
  std::vector<uint8_t> &out = writer.out();

  writer.Begin(kPVMH);
  pvr::Put16(out, flags);
  pvr::Put16(out, static_cast<uint32_t>(entries.size()));
  for (const Entry &entry : entries) {
    pvr::Put16(out, entry.id);
    out.insert(out.end(), entry.name, entry.name + kNameBytes);
    if (flags & vkpvm::kFormats) pvr::Put16(out, entry.format);
    if (flags & vkpvm::kDimensions) pvr::Put16(out, entry.dimension);
    pvr::Put32(out, entry.globalIndex);
  }
  writer.End(!withModelNames && !withPalettes);

  if (withModelNames) {
    writer.Begin(kMDLN);
    pvr::Put16(out, static_cast<uint32_t>(modelNames.size()));
    for (const std::string &name : modelNames) out.insert(out.end(), name.c_str(), name.c_str() + name.size() + 1);
    writer.End(!withPalettes);
  }

  if (withPalettes) {
    for (size_t i = 0; i < textures.size(); ++i) {
      writer.Begin(pvr::kPVPL);
      writer.Append(std::span<const uint8_t>(textures[i].palette).subspan(8));
      writer.End(i + 1 == textures.size());
    }
  }

  for (size_t i = 0; i < textures.size(); ++i) {
    writer.Begin(pvr::kPVRT);
    writer.Append(std::span<const uint8_t>(textures[i].file).subspan(textures[i].textureAt + 8));
    writer.End(i + 1 < textures.size());
  }
  return std::move(out);
}

}  // namespace pvm
