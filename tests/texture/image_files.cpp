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

// Equal neighbours of `items` as runs of at most `longest`: emit(first, count).
template <typename Emit>
void Runs(const std::vector<std::string> &items, size_t longest, Emit emit) {
  for (size_t i = 0; i < items.size();) {
    size_t n = 1;
    while (i + n < items.size() && n < longest && items[i + n] == items[i]) ++n;
    emit(items[i], n);
    i += n;
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
      if (runs) {  // a single pixel as a literal run, else a repeat (16-bit count past 128)
        Runs(pixels, 65535, [&](const std::string &p, size_t n) {
          if (n == 1) Byte(out, 0);
          if (n > 1 && n <= 128) Byte(out, static_cast<uint32_t>(n + 127));
          if (n > 128) {
            Byte(out, 128);
            Be16(out, static_cast<uint32_t>(n));
          }
          out += p;
        });
      } else {
        for (const std::string &p : pixels) out += p;
      }
    }
  }
  return out;
}

namespace {
std::string PixHeader(const PVR_Image &image, uint32_t bits) {
  std::string out;
  Be16(out, static_cast<uint32_t>(image.width));
  Be16(out, static_cast<uint32_t>(image.height));
  Le32(out, 0);
  Le16(out, bits);
  return out;
}
}  // namespace

// Every texel in order as one key (colour bytes or alpha).
std::vector<std::string> Keys(const PVR_Image &image, bool alpha) {
  std::vector<std::string> keys;
  for (size_t i = 0; i < image.texels.size(); i += 4) {
    keys.push_back(alpha ? std::string(1, static_cast<char>(image.texels[i])) : Channels(&image.texels[i], false));
  }
  return keys;
}

std::string Pix(const PVR_Image &image) {
  std::string out = PixHeader(image, 24);
  Runs(Keys(image, false), 255, [&](const std::string &rgb, size_t n) {
    out += {static_cast<char>(n), rgb[2], rgb[1], rgb[0]};
  });
  return out;
}

std::string PixMask(const PVR_Image &image, int bitsPerPixel) {
  std::string out = PixHeader(image, static_cast<uint32_t>(bitsPerPixel));
  Runs(Keys(image, true), 255, [&](const std::string &a, size_t n) {
    Byte(out, static_cast<uint32_t>(n));
    char v = bitsPerPixel == 8 ? a[0] : static_cast<char>(255 - static_cast<uint8_t>(a[0]));
    out += bitsPerPixel == 8 ? std::string(1, v) : std::string(3, v);
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
  Runs(pixels, 128, [&](const std::string &p, size_t n) {  // a single pixel as a literal packet
    Byte(out, n == 1 ? 0 : static_cast<uint32_t>(0x80 | (n - 1)));
    out += p;
  });
  return out;
}

bool WriteBytes(const std::string &path, const std::string &bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  return static_cast<bool>(out);
}

}  // namespace teximg
