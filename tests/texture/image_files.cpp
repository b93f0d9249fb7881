#include "texture/image_files.h"

#include <array>
#include <fstream>
#include <map>
#include <stdexcept>

namespace teximg {
namespace {

void Byte(std::string &out, uint32_t v) { out += static_cast<char>(v & 0xFF); }
void Le16(std::string &out, uint32_t v) { Byte(out, v), Byte(out, v >> 8); }
void Le32(std::string &out, uint32_t v) { Le16(out, v & 0xFFFF), Le16(out, v >> 16); }
void Be16(std::string &out, uint32_t v) { Byte(out, v >> 8), Byte(out, v); }

std::string BmpHeader(int32_t width, int32_t height, int bits, uint32_t paletteEntries, uint32_t colorsUsed,
                      size_t dataBytes) {
  std::string out = "BM";
  const uint32_t offset = 54 + 4 * paletteEntries;
  for (uint32_t v : {offset + static_cast<uint32_t>(dataBytes), 0u, offset, 40u, static_cast<uint32_t>(width),
                     static_cast<uint32_t>(height)})
    Le32(out, v);
  Le16(out, 1), Le16(out, static_cast<uint32_t>(bits));
  for (uint32_t v : {0u, static_cast<uint32_t>(dataBytes), 2835u, 2835u, colorsUsed, 0u}) Le32(out, v);
  return out;
}

// Red, green, blue of a texel, or its alpha.
std::string Key(const uint8_t *t, bool alpha) {
  return alpha
             ? std::string(1, static_cast<char>(t[kTexelA]))
             : std::string{static_cast<char>(t[kTexelR]), static_cast<char>(t[kTexelG]), static_cast<char>(t[kTexelB])};
}
std::vector<std::string> Keys(const PVR_Image &image, bool alpha) {  // every texel in order
  std::vector<std::string> keys;
  for (size_t i = 0; i < image.texels.size(); i += 4) keys.push_back(Key(&image.texels[i], alpha));
  return keys;
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

std::string PixHeader(const PVR_Image &image, uint32_t bits) {
  std::string out;
  Be16(out, static_cast<uint32_t>(image.width)), Be16(out, static_cast<uint32_t>(image.height));
  Le32(out, 0), Le16(out, bits);
  return out;
}

}  // namespace

PVR_Image RandomImage(int32_t width, int32_t height, uint32_t seed, bool withAlpha, int colours) {
  uint32_t state = seed * 2654435761u + 1;
  const auto next = [&state] {
    state ^= state << 13, state ^= state >> 17, state ^= state << 5;
    return state;
  };
  return MakeImage(width, height, [&](int, int) {
    const uint32_t mix = next() % static_cast<uint32_t>(colours) * 2246822519u;
    return std::array<int, 4>{withAlpha ? static_cast<int>(next() & 0xFF) : 255, static_cast<int>(mix >> 24),
                              static_cast<int>((mix >> 16) & 0xFF), static_cast<int>((mix >> 8) & 0xFF)};
  });
}

std::string Bmp(const PVR_Image &image, int bitsPerPixel) {
  const size_t row = (static_cast<size_t>(image.width) * (bitsPerPixel / 8) + 3) / 4 * 4;
  std::string out = BmpHeader(image.width, image.height, bitsPerPixel, 0, 0, row * image.height);
  for (int32_t y = image.height - 1; y >= 0; --y) {
    std::string line;
    for (int32_t x = 0; x < image.width; ++x) {
      const uint8_t *t = image.At(x, y);
      Byte(line, t[kTexelB]), Byte(line, t[kTexelG]), Byte(line, t[kTexelR]);
      if (bitsPerPixel == 32) Byte(line, 0);
    }
    line.resize(row, '\0');
    out += line;
  }
  return out;
}

std::string TranslucentBmp(const PVR_Image &image) {
  PVR_Image grey = image;
  for (size_t i = 0; i < grey.texels.size(); i += 4)
    grey.texels[i + kTexelR] = grey.texels[i + kTexelG] = grey.texels[i + kTexelB] =
        static_cast<uint8_t>(255 - image.texels[i + kTexelA]);
  return Bmp(grey, 24);
}

std::string PalBmp(int32_t width, int32_t height, int bitsPerPixel, const std::vector<uint32_t> &palette,
                   const std::vector<uint8_t> &indices, uint32_t colorsUsed) {
  const size_t row = (static_cast<size_t>(width) * bitsPerPixel + 31) / 32 * 4;
  std::string out =
      BmpHeader(width, height, bitsPerPixel, static_cast<uint32_t>(palette.size()), colorsUsed, row * height);
  for (uint32_t entry : palette) Byte(out, entry), Byte(out, entry >> 8), Byte(out, entry >> 16), Byte(out, 0);
  for (int32_t y = height - 1; y >= 0; --y) {
    std::string line(row, '\0');
    for (int32_t x = 0; x < width; ++x) {
      const uint8_t index = indices[static_cast<size_t>(y) * width + x];
      if (bitsPerPixel == 8)
        line[x] = static_cast<char>(index);
      else
        line[x / 2] = static_cast<char>(line[x / 2] | (x % 2 == 0 ? index << 4 : index & 15));
    }
    out += line;
  }
  return out;
}

std::string Pic(const PVR_Image &image, bool alpha, bool runs) {
  std::string out;
  Le32(out, 0x34F68053);  // magic as it stands in the file: 53 80 F6 34
  out.resize(92, '\0');
  Be16(out, static_cast<uint32_t>(image.width)), Be16(out, static_cast<uint32_t>(image.height));
  out.resize(104, '\0');
  const char type = runs ? 2 : 0;
  out += std::string{static_cast<char>(alpha ? 1 : 0), 8, type, static_cast<char>(0xE0)};
  if (alpha) out += std::string{0, 8, type, 0x10};
  for (int32_t y = 0; y < image.height; ++y) {
    for (int packet = 0; packet < (alpha ? 2 : 1); ++packet) {
      std::vector<std::string> pixels;
      for (int32_t x = 0; x < image.width; ++x) pixels.push_back(Key(image.At(x, y), packet == 1));
      if (!runs) {
        for (const std::string &p : pixels) out += p;
        continue;
      }
      Runs(pixels, 65535, [&](const std::string &p, size_t n) {  // a single pixel as a literal run, else a repeat
        if (n == 1) Byte(out, 0);
        if (n > 1 && n <= 128) Byte(out, static_cast<uint32_t>(n + 127));
        if (n > 128) Byte(out, 128), Be16(out, static_cast<uint32_t>(n));  // a 16-bit count past 128
        out += p;
      });
    }
  }
  return out;
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
    out += bitsPerPixel == 8 ? a : std::string(3, static_cast<char>(255 - static_cast<uint8_t>(a[0])));
  });
  return out;
}

std::string Tga(const PVR_Image &image, int bitsPerPixel, bool runLength) {
  const bool mapped = bitsPerPixel == 8;
  std::map<std::string, int> colours;  // by red, green, blue: its index in the colour map
  std::string map;
  if (mapped) {
    for (const std::string &key : Keys(image, false)) colours.emplace(key, static_cast<int>(colours.size()));
    if (colours.size() > 256) throw std::runtime_error("more than 256 colours for an 8-bit TGA");
    map.resize(256 * 3, '\0');
    for (const auto &[key, index] : colours) map.replace(3 * index, 3, std::string{key[2], key[1], key[0]});
  }
  std::string out;
  Byte(out, 0), Byte(out, mapped ? 1 : 0), Byte(out, (mapped ? 1 : 2) + (runLength ? 8 : 0));
  Le16(out, 0), Le16(out, mapped ? 256 : 0), Byte(out, mapped ? 24 : 0);
  Le16(out, 0), Le16(out, 0), Le16(out, static_cast<uint32_t>(image.width)),
      Le16(out, static_cast<uint32_t>(image.height));
  Byte(out, static_cast<uint32_t>(bitsPerPixel)), Byte(out, bitsPerPixel == 32 ? 8 : bitsPerPixel == 16 ? 1 : 0);
  out += map;
  std::vector<std::string> pixels;
  for (int32_t y = image.height - 1; y >= 0; --y) {
    for (int32_t x = 0; x < image.width; ++x) {
      const uint8_t *t = image.At(x, y);
      std::string p;
      if (mapped)
        Byte(p, static_cast<uint32_t>(colours[Key(t, false)]));
      else if (bitsPerPixel == 16)
        Le16(p,
             (t[kTexelA] >= 128 ? 0x8000u : 0u) | (t[kTexelR] >> 3) << 10 | (t[kTexelG] >> 3) << 5 | t[kTexelB] >> 3);
      else
        Byte(p, t[kTexelB]), Byte(p, t[kTexelG]), Byte(p, t[kTexelR]);
      if (bitsPerPixel == 32) Byte(p, t[kTexelA]);
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
