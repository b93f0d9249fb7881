// Binary writer: the item-code walk of the dual print and the chunk
// container around it. The input is a program of writer calls: chunks opened
// and closed, dual prints of item codes with their arguments, raw bytes,
// alignment, rewrites, base changes and mode switches, then the close. The
// codes of one call take arguments of one kind (integers, floats or texts),
// so that every argument is read as the type it was passed as.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>

#include "binary/vkprint.h"
#include "fuzz_common.h"

namespace {

class Input {
 public:
  Input(const uint8_t *data, size_t size) : data_(data), size_(size) {}
  bool empty() const { return at_ >= size_; }
  uint8_t Byte() { return at_ < size_ ? data_[at_++] : 0; }
  uint32_t Word() {
    uint32_t value = 0;
    for (int i = 0; i < 4; ++i) value |= static_cast<uint32_t>(Byte()) << (8 * i);
    return value;
  }
  // Up to `most` bytes.
  std::string Bytes(size_t most) {
    const size_t wanted = Byte() % (most + 1);  // read before the remaining length is taken
    const size_t count = std::min<size_t>(wanted, size_ - std::min(at_, size_));
    std::string bytes(reinterpret_cast<const char *>(data_ + at_), count);
    at_ += count;
    return bytes;
  }

 private:
  const uint8_t *data_;
  size_t size_;
  size_t at_ = 0;
};

// At most eight items and twelve characters. The walk stops once the
// arguments and markers it used reach the length of the codes, and one item
// takes at most ten arguments (a label or pointer naming argument 9), so no
// call takes more than 21 arguments.
std::string Codes(Input &in, const char *alphabet, bool names) {
  std::string codes;
  const size_t letters = std::strlen(alphabet);
  for (int n = 1 + in.Byte() % 8; n > 0 && codes.size() < 12; --n) {
    const uint8_t pick = in.Byte();
    if (names && pick % 4 == 0) {
      codes += pick & 4 ? 'T' : 'P';
      for (int digits = 1 + (pick >> 3) % 3; digits > 0; --digits) codes += static_cast<char>('0' + in.Byte() % 10);
    } else {
      codes += alphabet[pick % letters];
    }
  }
  return codes;
}

std::string Text(Input &in) {
  switch (in.Byte() % 5) {
    case 0: return "NULL";
    case 1: return "";
    case 2: return std::string(300, static_cast<char>('a' + in.Byte() % 26));
    default: return "name_" + std::to_string(in.Byte() % 8);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  fuzz::Scratch();  // a silent console
  static FILE *const sink = std::fopen("/dev/null", "wb");
  if (sink == nullptr) std::abort();
  Input in(data, size);
  VKWriter writer;
  VKWriteSetBin(writer);
  if (in.Byte() & 1) VKWriteOpen(writer, sink);
  static constexpr uint32_t kChunkNames[] = {kVKChunkVKCM, kVKChunkVKBM, kVKChunkVKTL, kVKChunkPOF0};
  for (int step = 0; step < 256 && !in.empty(); ++step) {
    switch (in.Byte() % 12) {
      case 0: {
        const uint8_t pick = in.Byte();
        VKWriteBinChunkStart(writer, pick < 200 ? kChunkNames[pick % 4] : in.Word());
        break;
      }
      case 1: VKWriteBinChunkEnd(writer); break;
      case 2: {
        const std::string codes = Codes(in, "iscISCX85a!$", false);
        int v[16];
        for (int &value : v) value = static_cast<int>(in.Word());
        VKPrintBin(writer, codes.c_str(), v[0], v[1], v[2], v[3], v[4], v[5], v[6], v[7], v[8], v[9], v[10], v[11],
                   v[12], v[13], v[14], v[15]);
        break;
      }
      case 3: {
        const std::string codes = Codes(in, "f!$", false);
        double v[16];
        for (double &value : v) {
          const uint32_t bits = in.Word();
          float f;
          std::memcpy(&f, &bits, sizeof f);
          value = f;  // the writers pass floats
        }
        VKPrintBin(writer, codes.c_str(), v[0], v[1], v[2], v[3], v[4], v[5], v[6], v[7], v[8], v[9], v[10], v[11],
                   v[12], v[13], v[14], v[15]);
        break;
      }
      case 4: {
        const std::string codes = Codes(in, "g!$", true);
        std::string t[22];
        for (std::string &text : t) text = Text(in);
        VKPrintBin(writer, codes.c_str(), t[0].c_str(), t[1].c_str(), t[2].c_str(), t[3].c_str(), t[4].c_str(),
                   t[5].c_str(), t[6].c_str(), t[7].c_str(), t[8].c_str(), t[9].c_str(), t[10].c_str(), t[11].c_str(),
                   t[12].c_str(), t[13].c_str(), t[14].c_str(), t[15].c_str(), t[16].c_str(), t[17].c_str(),
                   t[18].c_str(), t[19].c_str(), t[20].c_str(), t[21].c_str());
        break;
      }
      case 5: VKAlign(writer, in.Byte() & 1 ? 4 : 2); break;
      case 6: {
        const std::string bytes = in.Bytes(64);
        VKWriteBytes(writer, bytes.data(), static_cast<int>(bytes.size()));
        break;
      }
      case 7: {
        const uint8_t width = in.Byte() % 3;
        const uint32_t value = in.Word();
        if (width == 0) VKWrite4(writer, value);
        if (width == 1) VKWrite2(writer, value);
        if (width == 2) VKWrite1(writer, value);
        break;
      }
      case 8: {
        const long position = static_cast<long>(in.Word() % 70000) - 8;
        const std::string bytes = in.Bytes(16);
        RewriteBytes(writer, position, bytes.data(), static_cast<int>(bytes.size()));
        break;
      }
      case 9: VKSetBase(writer, static_cast<long>(in.Word() % 70000)); break;
      case 10: {
        const uint8_t mode = in.Byte() % 3;
        if (mode == 0) VKWriteSetBin(writer);
        if (mode == 1) VKWriteSetBinDebug(writer);
        if (mode == 2) VKWriteSetAscii(writer);
        break;
      }
      default: VKWriteText(writer, Text(in).c_str()); break;
    }
    if (VKGetByteCount(writer) < 0) std::abort();
  }
  VKWriteClose(writer);
  if (VKWriteGetMode(writer) != kVKModeAscii || VKGetByteCount(writer) != 0) std::abort();
  return 0;
}
