#include "texture/image_files.h"

#include <array>
#include <fstream>
#include <map>
#include <stdexcept>

namespace teximg {
namespace {

void Le16(std::string &out, uint32_t v) {
  out += static_cast<char>(v & 0xFF);
  out += static_cast<char>((v >> 8) & 0xFF);
}
void Le32(std::string &out, uint32_t v) {
  Le16(out, v & 0xFFFF);
  Le16(out, v >> 16);
}
void Be16(std::string &out, uint32_t v) {
  out += static_cast<char>((v >> 8) & 0xFF);
  out += static_cast<char>(v & 0xFF);
}
void Byte(std::string &out, uint32_t v) { out += static_cast<char>(v & 0xFF); }

std::string BmpHeader(int32_t width, int32_t height, int bits, uint32_t paletteEntries, uint32_t colorsUsed,
                      size_t dataBytes) {
  std::string out = "BM";
  uint32_t offset = 54 + 4 * paletteEntries;
  Le32(out, offset + static_cast<uint32_t>(dataBytes));
  Le32(out, 0);
  Le32(out, offset);
  Le32(out, 40);
  Le32(out, static_cast<uint32_t>(width));
  Le32(out, static_cast<uint32_t>(height));
  Le16(out, 1);
  Le16(out, static_cast<uint32_t>(bits));
  Le32(out, 0);
  Le32(out, static_cast<uint32_t>(dataBytes));
  Le32(out, 2835);
  Le32(out, 2835);
  Le32(out, colorsUsed);
  Le32(out, 0);
  return out;
}

// Pixel bytes of a texel in the order red, green, blue (, alpha).
std::string Channels(const uint8_t *t, bool alpha) {
  std::string out{static_cast<char>(t[kTexelR]), static_cast<char>(t[kTexelG]), static_cast<char>(t[kTexelB])};
  if (alpha) out += static_cast<char>(t[kTexelA]);
  return out;
}

// One PIC packet's row as mixed runs.
void PicRuns(std::string &out, const std::vector<std::string> &pixels) {
  size_t i = 0;
  while (i < pixels.size()) {
    size_t same = 1;
    while (i + same < pixels.size() && pixels[i + same] == pixels[i] && same < 65535) ++same;
    if (same >= 2) {
      if (same <= 128) {
        Byte(out, static_cast<uint32_t>(same + 127));
      } else {
        Byte(out, 128);
        Be16(out, static_cast<uint32_t>(same));
      }
      out += pixels[i];
      i += same;
      continue;
    }
    size_t start = i;
    while (i < pixels.size() && i - start < 128 && !(i + 1 < pixels.size() && pixels[i + 1] == pixels[i])) ++i;
    if (i == start) ++i;
    Byte(out, static_cast<uint32_t>(i - start - 1));
    for (size_t k = start; k < i; ++k) out += pixels[k];
  }
}

}  // namespace

PVR_Image RandomImage(int32_t width, int32_t height, uint32_t seed, bool withAlpha, int colours) {
  uint32_t state = seed * 2654435761u + 1;
  auto next = [&state] {
    state ^= state << 13;
    state ^= state >> 17;
    state ^= state << 5;
    return state;
  };
  return MakeImage(width, height, [&](int, int) {
    uint32_t v = next() % static_cast<uint32_t>(colours);
    uint32_t mix = v * 2246822519u;
    return std::array<int, 4>{withAlpha ? static_cast<int>(next() & 0xFF) : 255, static_cast<int>(mix >> 24),
                              static_cast<int>((mix >> 16) & 0xFF), static_cast<int>((mix >> 8) & 0xFF)};
  });
}

std::string Bmp(const PVR_Image &image, int bitsPerPixel) {
  const int bytes = bitsPerPixel / 8;
  const size_t row = (static_cast<size_t>(image.width) * bytes + 3) / 4 * 4;
  std::string out = BmpHeader(image.width, image.height, bitsPerPixel, 0, 0, row * image.height);
  for (int32_t y = image.height - 1; y >= 0; --y) {
    std::string line;
    for (int32_t x = 0; x < image.width; ++x) {
      const uint8_t *t = image.At(x, y);
      Byte(line, t[kTexelB]);
      Byte(line, t[kTexelG]);
      Byte(line, t[kTexelR]);
      if (bytes == 4) Byte(line, 0);
    }
    line.resize(row, '\0');
    out += line;
  }
  return out;
}

std::string TranslucentBmp(const PVR_Image &image) {
  PVR_Image grey = image;
  for (size_t i = 0; i < grey.texels.size(); i += 4) {
    uint8_t v = static_cast<uint8_t>(255 - image.texels[i + kTexelA]);
    grey.texels[i + kTexelR] = grey.texels[i + kTexelG] = grey.texels[i + kTexelB] = v;
  }
  return Bmp(grey, 24);
}

std::string PalBmp(int32_t width, int32_t height, int bitsPerPixel, const std::vector<uint32_t> &palette,
                   const std::vector<uint8_t> &indices, uint32_t colorsUsed) {
  const size_t row = (static_cast<size_t>(width) * bitsPerPixel + 31) / 32 * 4;
  std::string out = BmpHeader(width, height, bitsPerPixel, static_cast<uint32_t>(palette.size()), colorsUsed,
                              row * height);
  for (uint32_t entry : palette) {
    Byte(out, entry);
    Byte(out, entry >> 8);
    Byte(out, entry >> 16);
    Byte(out, 0);
  }
  for (int32_t y = height - 1; y >= 0; --y) {
    std::string line(row, '\0');
    for (int32_t x = 0; x < width; ++x) {
      uint8_t index = indices[static_cast<size_t>(y) * width + x];
      if (bitsPerPixel == 8) line[x] = static_cast<char>(index);
      else line[x / 2] = static_cast<char>(line[x / 2] | (x % 2 == 0 ? index << 4 : index & 15));
    }
    out += line;
  }
  return out;
}

std::string Pic(const PVR_Image &image, bool alpha, bool runs) {
  std::string out;
  Le32(out, 0x34F68053);  // magic as it stands in the file: 53 80 F6 34
  out.resize(92, '\0');
  Be16(out, static_cast<uint32_t>(image.width));
  Be16(out, static_cast<uint32_t>(image.height));
  out.resize(104, '\0');
  const uint32_t type = runs ? 2 : 0;
  out += std::string{static_cast<char>(alpha ? 1 : 0), 8, static_cast<char>(type), static_cast<char>(0xE0)};
  if (alpha) out += std::string{0, 8, static_cast<char>(type), 0x10};
  for (int32_t y = 0; y < image.height; ++y) {
    for (int packet = 0; packet < (alpha ? 2 : 1); ++packet) {
      std::vector<std::string> pixels;
      for (int32_t x = 0; x < image.width; ++x) {
        const uint8_t *t = image.At(x, y);
        pixels.push_back(packet == 0 ? Channels(t, false) : std::string(1, static_cast<char>(t[kTexelA])));
      }
      if (runs) {
        PicRuns(out, pixels);
      } else {
        for (const std::string &p : pixels) out += p;
      }
    }
  }
  return out;
}

namespace {
// Runs of equal values (at most 255 long) over all texels in order.
template <typename Key, typename Emit>
void Runs(const PVR_Image &image, Key key, Emit emit) {
  const size_t total = image.texels.size() / 4;
  size_t i = 0;
  while (i < total) {
    size_t n = 1;
    while (i + n < total && n < 255 && key(&image.texels[4 * (i + n)]) == key(&image.texels[4 * i])) ++n;
    emit(n, &image.texels[4 * i]);
    i += n;
  }
}
std::string PixHeader(const PVR_Image &image, uint32_t bits) {
  std::string out;
  Be16(out, static_cast<uint32_t>(image.width));
  Be16(out, static_cast<uint32_t>(image.height));
  Le32(out, 0);
  Le16(out, bits);
  return out;
}
}  // namespace

std::string Pix(const PVR_Image &image) {
  std::string out = PixHeader(image, 24);
  Runs(
      image, [](const uint8_t *t) { return Channels(t, false); },
      [&](size_t n, const uint8_t *t) {
        Byte(out, static_cast<uint32_t>(n));
        Byte(out, t[kTexelB]);
        Byte(out, t[kTexelG]);
        Byte(out, t[kTexelR]);
      });
  return out;
}

std::string PixMask(const PVR_Image &image, int bitsPerPixel) {
  std::string out = PixHeader(image, static_cast<uint32_t>(bitsPerPixel));
  Runs(
      image, [](const uint8_t *t) { return t[kTexelA]; },
      [&](size_t n, const uint8_t *t) {
        Byte(out, static_cast<uint32_t>(n));
        uint32_t v = bitsPerPixel == 8 ? t[kTexelA] : 255u - t[kTexelA];
        Byte(out, v);
        if (bitsPerPixel == 24) {
          Byte(out, v);
          Byte(out, v);
        }
      });
  return out;
}

std::string Tga(const PVR_Image &image, int bitsPerPixel, bool runLength) {
  std::map<uint32_t, int> colours;
  std::string map;
  if (bitsPerPixel == 8) {
    for (size_t i = 0; i < image.texels.size(); i += 4) {
      uint32_t key = image.texels[i + 1] << 16 | image.texels[i + 2] << 8 | image.texels[i + 3];
      if (colours.count(key) == 0) {
        int index = static_cast<int>(colours.size());
        colours[key] = index;
      }
    }
    if (colours.size() > 256) throw std::runtime_error("more than 256 colours for an 8-bit TGA");
    map.resize(256 * 3, '\0');
    for (auto [key, index] : colours) {
      map[3 * index] = static_cast<char>(key & 0xFF);
      map[3 * index + 1] = static_cast<char>((key >> 8) & 0xFF);
      map[3 * index + 2] = static_cast<char>(key >> 16);
    }
  }
  std::string out;
  Byte(out, 0);
  Byte(out, bitsPerPixel == 8 ? 1 : 0);
  Byte(out, (bitsPerPixel == 8 ? 1 : 2) + (runLength ? 8 : 0));
  Le16(out, 0);
  Le16(out, bitsPerPixel == 8 ? 256 : 0);
  Byte(out, bitsPerPixel == 8 ? 24 : 0);
  Le16(out, 0);
  Le16(out, 0);
  Le16(out, static_cast<uint32_t>(image.width));
  Le16(out, static_cast<uint32_t>(image.height));
  Byte(out, static_cast<uint32_t>(bitsPerPixel));
  Byte(out, bitsPerPixel == 32 ? 8 : bitsPerPixel == 16 ? 1 : 0);
  out += map;
  std::vector<std::string> pixels;
  for (int32_t y = image.height - 1; y >= 0; --y) {
    for (int32_t x = 0; x < image.width; ++x) {
      const uint8_t *t = image.At(x, y);
      std::string p;
      if (bitsPerPixel == 8) {
        Byte(p, static_cast<uint32_t>(colours[t[kTexelR] << 16 | t[kTexelG] << 8 | t[kTexelB]]));
      } else if (bitsPerPixel == 16) {
        Le16(p, (t[kTexelA] >= 128 ? 0x8000u : 0u) | (t[kTexelR] >> 3) << 10 | (t[kTexelG] >> 3) << 5 | t[kTexelB] >> 3);
      } else {
        p = {static_cast<char>(t[kTexelB]), static_cast<char>(t[kTexelG]), static_cast<char>(t[kTexelR])};
        if (bitsPerPixel == 32) Byte(p, t[kTexelA]);
      }
      pixels.push_back(p);
    }
  }
  if (!runLength) {
    for (const std::string &p : pixels) out += p;
    return out;
  }
  size_t i = 0;
  while (i < pixels.size()) {
    size_t same = 1;
    while (i + same < pixels.size() && same < 128 && pixels[i + same] == pixels[i]) ++same;
    if (same >= 2) {
      Byte(out, static_cast<uint32_t>(0x80 | (same - 1)));
      out += pixels[i];
      i += same;
      continue;
    }
    size_t start = i++;
    while (i < pixels.size() && i - start < 128 && !(i + 1 < pixels.size() && pixels[i + 1] == pixels[i])) ++i;
    Byte(out, static_cast<uint32_t>(i - start - 1));
    for (size_t k = start; k < i; ++k) out += pixels[k];
  }
  return out;
}

bool WriteBytes(const std::string &path, const std::string &bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  return static_cast<bool>(out);
}

}  // namespace teximg
