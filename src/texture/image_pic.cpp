// PIC header and image reader: a 104-byte header, up to four chained channel
// packets, and per row, per packet, the packet's pixels either plain or as
// mixed runs.
#include <new>

#include "base/console.h"
#include "texture/image_source.h"
#include "texture/texture_io.h"

namespace pvr_read {
namespace {

constexpr long kPicHeaderSize = 104;
constexpr int kMaxPackets = 4;
constexpr uint8_t kPacketPlain = 0;
constexpr uint8_t kPacketMixedRuns = 2;

// Channel mask bits in the order the pixel bytes come.
constexpr uint8_t kChannelBits[4] = {0x80, 0x40, 0x20, 0x10};
constexpr int kChannelTexel[4] = {kTexelR, kTexelG, kTexelB, kTexelA};
constexpr uint8_t kAlphaBit = 0x10;

struct Packet {
  uint8_t chained;
  uint8_t size;
  uint8_t type;
  uint8_t channels;
};

// Stores one pixel's channel bytes into a texel.
void PutPixel(const Packet &packet, const uint8_t *bytes, uint8_t *texel) {
  int next = 0;
  for (int c = 0; c < 4; ++c) {
    if (packet.channels & kChannelBits[c]) texel[kChannelTexel[c]] = bytes[next++];
  }
}

int ChannelCount(const Packet &packet) {
  int count = 0;
  for (uint8_t bit : kChannelBits) count += (packet.channels & bit) != 0;
  return count;
}

// Decodes one packet's pixels of row `y`. False with a reason.
bool ReadPacketRow(SourceFile &file, const Packet &packet, PVR_Image *image, int32_t y, std::string *why) {
  const int channels = ChannelCount(packet);
  uint8_t pixel[4];
  if (packet.type == kPacketPlain) {
    for (int32_t x = 0; x < image->width; ++x) {
      if (!file.Read(pixel, static_cast<size_t>(channels))) {
        SetWhy(why, "The PIC pixel data ends in row %d.", y);
        return false;
      }
      PutPixel(packet, pixel, image->At(x, y));
    }
    return true;
  }
  int32_t x = 0;
  while (x < image->width) {
    uint8_t count;
    if (!file.Read(&count, 1)) {
      SetWhy(why, "The PIC run data ends in row %d.", y);
      return false;
    }
    long repeat = 0;  // 0: a run of literal pixels
    long length;
    if (count < 128) {
      length = count + 1;
    } else if (count == 128) {
      uint8_t wide[2];
      if (!file.Read(wide, 2)) {
        SetWhy(why, "The PIC run data ends in row %d.", y);
        return false;
      }
      length = repeat = Be16(wide);
      if (length == 0) {
        SetWhy(why, "A PIC run of 0 pixels in row %d at byte %ld.", y, file.Position() - 3);
        return false;
      }
    } else {
      length = repeat = count - 127;
    }
    if (length > image->width - x) {
      SetWhy(why, "A PIC run of %ld pixels at column %d of row %d runs past the row's end (width %d).", length,
             x, y, image->width);
      return false;
    }
    for (long i = 0; i < length; ++i, ++x) {
      if ((repeat == 0 || i == 0) && !file.Read(pixel, static_cast<size_t>(channels))) {
        SetWhy(why, "The PIC run data ends in row %d.", y);
        return false;
      }
      PutPixel(packet, pixel, image->At(x, y));
    }
  }
  return true;
}

}  // namespace

int ReadHeaderPIC(SourceFile &file, const char *name, PVR_TexInfo *info, std::string *why) {
  uint8_t head[kPicHeaderSize];
  if (!file.Read(head, sizeof head)) {
    PrintWarning("Warning : Can't read file %s\n", name);
    return 0;
  }
  int32_t width = Be16s(head + 92);
  int32_t height = Be16s(head + 94);
  if (!SidesUsable(width, height, why)) return 0;
  info->width = width;
  info->height = height;
  return 1;
}

int ReadImagePIC(const char *name, PVR_Image *image, std::string *why) {
  SourceFile file;
  if (!file.Open(name)) {
    PVR_ShowFramed("Could not open %s\nABORTING PROGRAM", name);
    return FailImage(image);
  }
  uint8_t head[kPicHeaderSize];
  if (!file.Read(head, sizeof head)) {
    PVR_ShowFramed("cannot load picture infomation. (%s)", name);
    return FailImage(image);
  }
  Packet packets[kMaxPackets];
  int packetCount = 0;
  for (;;) {
    uint8_t bytes[4];
    if (packetCount == kMaxPackets) {
      PVR_ShowFramed(" illegal channel information. (%s)", name);
      return FailImage(image);
    }
    if (!file.Read(bytes, sizeof bytes)) {
      PVR_ShowFramed("cannot load channel infomation. (%s)", name);
      return FailImage(image);
    }
    packets[packetCount++] = Packet{bytes[0], bytes[1], bytes[2], bytes[3]};
    if (bytes[0] == 0) break;
  }
  int32_t width = Be16s(head + 92);
  int32_t height = Be16s(head + 94);
  if (width < 0 || height < 0) {
    PVR_ShowFramed("illegal picture size. (%s)", name);
    return FailImage(image);
  }
  if (!SidesUsable(width, height, why)) return FailImage(image);
  bool alpha = false;
  long leastRow = 0;  // the fewest bytes a row of every packet can take
  for (int p = 0; p < packetCount; ++p) {
    if ((packets[p].channels & 0xF0) == 0) {
      PVR_ShowFramed(" illegal channel code. (%s)", name);
      return FailImage(image);
    }
    if (packets[p].type != kPacketPlain && packets[p].type != kPacketMixedRuns) {
      SetWhy(why, "PIC channel packet %d has the type %d; only plain (0) and mixed runs (2) are read.", p + 1,
             packets[p].type);
      return FailImage(image);
    }
    alpha = alpha || (packets[p].channels & kAlphaBit) != 0;
    const int channels = ChannelCount(packets[p]);
    // Plain: every pixel. Runs: one repeated pixel, after a count byte (up to
    // 128 pixels) or a count byte and a 16-bit count.
    leastRow += packets[p].type == kPacketPlain ? static_cast<long>(width) * channels
                                                : (width <= 128 ? 1 : 3) + channels;
  }
  if (file.Remaining() < leastRow * height) {
    SetWhy(why, "The PIC file is too short for %dx%d pixels: at least %ld bytes of pixel data, %ld present.", width,
           height, leastRow * height, file.Remaining());
    return FailImage(image);
  }
  try {
    StartImage(image, width, height);
  } catch (const std::bad_alloc &) {
    PVR_ShowFramed(" cannot allocate memory. (%s)", name);
    return FailImage(image);
  }
  for (int32_t y = 0; y < height; ++y) {
    for (int p = 0; p < packetCount; ++p) {
      if (!ReadPacketRow(file, packets[p], image, y, why)) return FailImage(image);
    }
  }
  if (alpha) PrintInfo("[READ ALPHA]");
  return 1;
}

}  // namespace pvr_read
