// Writes the seed corpus of every fuzz target: small valid files of each
// format and resource databases, in the layout the targets read (a flags byte,
// the length of the first file, the first file, the second file).
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "support/vka_gen.h"
#include "texture/image_files.h"
#include "texture/pvm_layout.h"
#include "texture/pvr_format.h"

namespace {

std::string Framed(uint8_t flags, const std::string &first, const std::string &second = "") {
  std::string out(1, static_cast<char>(flags));
  uint32_t length = static_cast<uint32_t>(first.size());
  for (int i = 0; i < 4; ++i) out += static_cast<char>((length >> (8 * i)) & 0xFF);
  return out + first + second;
}

void Seeds(const std::filesystem::path &folder, const std::vector<std::string> &seeds) {
  std::filesystem::create_directories(folder);
  int index = 0;
  for (const std::string &seed : seeds) {
    teximg::WriteBytes((folder / ("seed_" + std::to_string(index++))).string(), seed);
  }
}

// A PVR file with an optional global-index chunk and `dataSize` bytes of
// texel data counting up.
std::string Pvr(bool gbix, uint32_t category, uint32_t width, uint32_t height, uint32_t dataSize) {
  std::vector<uint8_t> out;
  if (gbix) pvr::PutGlobalIndexChunk(out, 7, false);
  pvr::PutTextureHead(out, dataSize, category, width, height);
  for (uint32_t i = 0; i < dataSize; ++i) out.push_back(static_cast<uint8_t>(i * 37));
  return std::string(out.begin(), out.end());
}

// The decoder target's layout: two bytes giving the PVR file's length, the
// PVR file, then the palette file.
std::string Cut(const std::string &file, const std::string &palette = "") {
  std::string out{static_cast<char>(file.size() & 0xFF), static_cast<char>(file.size() >> 8)};
  return out + file + palette;
}

std::string Pvp(uint32_t pixelFormat, uint32_t count) {
  std::vector<uint8_t> out;
  pvr::PutName(out, pvr::kPVPL);
  const uint32_t size = count * (pixelFormat == 6 ? 4 : 2);
  pvr::Put32(out, 8 + size + (8 - size % 8) % 8);
  pvr::Put16(out, pixelFormat);
  pvr::Put16(out, 0);
  pvr::Put16(out, 0);
  pvr::Put16(out, count);
  for (uint32_t i = 0; i < size + (8 - size % 8) % 8; ++i) out.push_back(static_cast<uint8_t>(i * 11));
  return std::string(out.begin(), out.end());
}

}  // namespace

int main(int argc, char **argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s corpus-folder\n", argv[0]);
    return 1;
  }
  const std::filesystem::path root = argv[1];
  PVR_Image opaque = teximg::RandomImage(5, 3, 1, false, 4);
  PVR_Image alpha = teximg::RandomImage(4, 4, 2, true, 3);
  std::vector<uint32_t> palette = {0x102030, 0x405060, 0x708090, 0xA0B0C0};
  std::vector<uint8_t> indices;
  for (int i = 0; i < 64; ++i) indices.push_back(static_cast<uint8_t>(i % 4));

  Seeds(root / "bmp", {Framed(0, teximg::Bmp(opaque)), Framed(1, teximg::Bmp(alpha), teximg::TranslucentBmp(alpha)),
                       Framed(1, teximg::Bmp(alpha), teximg::Bmp(alpha, 32)),
                       Framed(1, teximg::Bmp(alpha), teximg::PalBmp(4, 4, 8, palette, indices, 4)),
                       Framed(2 | 0 << 2, teximg::PalBmp(8, 8, 4, palette, indices, 4)),
                       Framed(3 | 1 << 2, teximg::PalBmp(8, 8, 8, palette, indices),
                              teximg::PalBmp(8, 8, 8, palette, indices, 4)),
                       Framed(3 | 2 << 2, teximg::PalBmp(8, 8, 4, palette, indices),
                              teximg::PalBmp(8, 8, 4, palette, indices, 2))});
  Seeds(root / "pic", {teximg::Pic(opaque, false, false), teximg::Pic(alpha, true, true),
                       teximg::Pic(teximg::RandomImage(300, 1, 3, false, 1), false, true)});
  Seeds(root / "pix", {Framed(0, teximg::Pix(opaque)), Framed(1, teximg::Pix(alpha), teximg::PixMask(alpha, 8)),
                       Framed(1, teximg::Pix(alpha), teximg::PixMask(alpha, 24))});
  Seeds(root / "tga", {teximg::Tga(opaque, 8), teximg::Tga(alpha, 16), teximg::Tga(opaque, 24),
                       teximg::Tga(alpha, 32), teximg::Tga(alpha, 32, true), teximg::Tga(opaque, 8, true)});
  Seeds(root / "resource",
        {"Chunk TextureTex x 1 y 7\n! x wood\nFromat ARGB4444\nCategory VQ\nMipmap off\nDither on\n"
         "AlphaDither no\nGlobalIndex auto\npaletteBank 5\nVQMode VQ3\npvrLockOn off\n",
         "Chunk TextureVQ2 x 1 y 0\n! x\nUseYIO off\nYIQ 0.5 0.25 2\nIterations 3\nnbCode 16\nAllowedError 0.1\n"
         "Chunk TextureTex a 2\n! r\nFromat RGB565 # comment\nCategory 3\n! s\n",
         "Chunk TextureTex a 1\n!\n# Dither on\nChunk Other a 1\n"});
  const std::vector<std::string> pvrs = {
      Pvr(true, pvr::Category(1, pvr::kTypeTwiddledMip), 8, 8, 2 * (22 + 64)),
      Pvr(false, pvr::Category(0, pvr::kTypeTwiddledNonSquare), 16, 8, 2 * 128),
      Pvr(true, pvr::Category(2, pvr::kTypeRectangle), 8, 16, 2 * 128),
      Pvr(false, pvr::Category(3, pvr::kTypeTwiddled), 8, 8, 2 * 64),
      Pvr(true, pvr::Category(1, pvr::kTypeSmallVQ), 16, 16, 8 * 16 + 64),
      Pvr(false, pvr::Category(2, pvr::kTypeVQMip), 16, 16, 8 * 256 + 10 + 1 + 1 + 4 + 16 + 64)};
  const std::string pal4 = Pvr(true, pvr::Category(1, pvr::kTypePal4), 8, 8, 32);
  const std::string pal8 = Pvr(false, pvr::Category(6, pvr::kTypePal8), 8, 8, 64);
  std::vector<std::string> decodeSeeds;
  for (const std::string &file : pvrs) decodeSeeds.push_back(Cut(file));
  decodeSeeds.push_back(Cut(pal4, Pvp(1, 16)));
  decodeSeeds.push_back(Cut(pal8, Pvp(6, 256)));
  Seeds(root / "pvr_decode", decodeSeeds);
  std::vector<std::string> headerSeeds = pvrs;
  headerSeeds.push_back(pal4);
  Seeds(root / "pvr_header", headerSeeds);

  // The Basic reader: byte 0 chooses the options, then a generated model of
  // each mesh kind, with normals, polygon normals, UVs, textures and a
  // default material list in turn.
  std::vector<std::string> models;
  const std::vector<vktest::VkaMesh> kinds = {vktest::VkaMesh::kTriangles, vktest::VkaMesh::kQuads,
                                              vktest::VkaMesh::kPolygons, vktest::VkaMesh::kStrips,
                                              vktest::VkaMesh::kReverseStrips};
  for (int i = 0; i < 8; ++i) {
    vktest::VkaGenParams params;
    params.baseName = "f";
    params.objects = 1 + i % 3;
    params.gridWidth = 1 + i % 3;
    params.gridHeight = 1 + i / 3 % 2;
    params.meshKinds = {kinds[i % kinds.size()], kinds[(i + 2) % kinds.size()]};
    params.polyNormals = i % 2 == 1;
    params.uvs = i % 3 != 2;
    params.textures = i % 4;
    params.paletteBanks = i == 5;
    params.defaultMaterialList = i % 4 == 3;
    params.materials = 1 + i % 2;
    models.push_back(std::string(1, static_cast<char>(i * 37 + 1)) + vktest::GenerateVka(params));
  }
  Seeds(root / "basic_reader", models);

  // The option parser: NUL-separated words.
  const auto words = [](std::initializer_list<std::string> list) {
    std::string out;
    for (const std::string &word : list) out += word + '\0';
    return out;
  };
  Seeds(root / "options",
        {words({"model"}), words({"model.txt", "-bin", "-septex"}), words({"-gibase", "100", "m", "-B"}),
         words({"m", "-VNX", "-co3", "-VCOM", "-uvh", "-pvn", "-pvc"}), words({"m", "-gscale", "0.5", "-S", "-STt"}),
         words({"m", "-dm", "-dma", "-da", "-vctouf", "-pctouf", "-euv", "-coS", "-D8", "-NF", "-S4"}),
         words({"dir.v2/m", "-rx", "90", "-ry", "-45", "-rz", "1e3", "-gm", "-GM", "-G", "-notexture"})});

  // The binary writer: programs of writer calls (see the target).
  std::vector<std::string> programs;
  uint32_t state = 12345;
  for (int i = 0; i < 6; ++i) {
    std::string program;
    for (int n = 0; n < 64 << (i % 3); ++n) {
      state = state * 1103515245u + 12345u;
      program += static_cast<char>(state >> 16);
    }
    programs.push_back(program);
  }
  Seeds(root / "binary_items", programs);
  // The archive target: flags 1 and 2 put valid textures first, 4 adds the
  // file twice, 8 writes its palette file, 16 sets a model path.
  std::vector<std::string> archiveSeeds;
  for (size_t i = 0; i < pvrs.size(); ++i) archiveSeeds.push_back(Framed(i % 2 == 0 ? 4 : 1 | 16, pvrs[i]));
  archiveSeeds.push_back(Framed(2 | 8, Pvr(true, pvr::Category(1, pvr::kTypePal8), 8, 8, 64), Pvp(1, 16)));
  archiveSeeds.push_back(Framed(4 | 8 | 16, pal4, Pvp(1, 16)));
  archiveSeeds.push_back(Framed(8, pal8, Pvp(6, 256)));
  Seeds(root / "pvm_load", archiveSeeds);
  // Archives: plain textures with a model name and lock bits, palettized
  // textures with their palette files, and a bare header.
  const auto bytes = [](const std::string &text) { return std::vector<uint8_t>(text.begin(), text.end()); };
  const auto text = [](const std::vector<uint8_t> &data) { return std::string(data.begin(), data.end()); };
  std::vector<pvmtest::Texture> plain;
  for (size_t i = 0; i < pvrs.size(); ++i) plain.push_back({"tex_" + std::to_string(i), bytes(pvrs[i]), {}});
  Seeds(root / "pvm_read",
        {text(pvmtest::Archive(plain, {"C:\\work\\model.vka"}, 0x0300)), text(pvmtest::Archive({plain[0]})),
         text(pvmtest::Archive({{"p4", bytes(pal4), bytes(Pvp(1, 16))}, {"p8", bytes(pal4), bytes(Pvp(1, 16))}})),
         text(pvmtest::Archive({}))});
  return 0;
}
