// Writes the seed corpus of every fuzz target: small valid files of each
// format and resource databases, in the layout the targets read (a flags byte,
// the length of the first file, the first file, the second file).
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "texture/image_files.h"

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
  return 0;
}
