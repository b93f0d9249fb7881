// The literal VQ compressor (the oracle of the fast one) and the image helpers
// of the VQ tests and benchmark. Written step by step from the algorithm's
// description, for clarity rather than speed.
#include "support/vq_oracle.h"

#include <array>
#include <iterator>
#include <cmath>
#include <deque>
#include <map>
#include <random>

namespace vqtest {
namespace {

// ---- Quantisation --------------------------------------------------------------------
int QuantAlpha1(int v) { return v >= 128 ? 255 : 0; }
int Quant4(int v) { return (v >> 4) * 17; }
int Quant5(int v) { return (v & 0xF8) | (v >> 5); }
int Quant6(int v) { return (v & 0xFC) | (v >> 6); }

void QuantiseTexel(int format, uint8_t *t) {
  if (format == 0) t[0] = QuantAlpha1(t[0]), t[1] = Quant5(t[1]), t[2] = Quant5(t[2]), t[3] = Quant5(t[3]);
  else if (format == 1) t[0] = Quant4(t[0]), t[1] = Quant4(t[1]), t[2] = Quant4(t[2]), t[3] = Quant4(t[3]);
  else t[0] = 255, t[1] = Quant5(t[1]), t[2] = Quant6(t[2]), t[3] = Quant5(t[3]);
}

void QuantiseVector(int format, uint8_t *v) {
  for (int t = 0; t < 4; t++) QuantiseTexel(format, v + 4 * t);
}

bool HasAlpha(int format) { return format == 0 || format == 1; }

// ---- Distance, texel by texel ------------------------------------------------------------
long long TexelTerm(int format, const uint8_t *a, const uint8_t *b) {
  long long dA = a[0] - b[0], dR = a[1] - b[1], dG = a[2] - b[2], dB = a[3] - b[3];
  if (HasAlpha(format)) return (dA * dA + dR * dR + dG * dG + dB * dB) * (a[0] + b[0]);
  return dR * dR + dG * dG + dB * dB;
}

long long FullDistance(int format, const uint8_t *a, const uint8_t *b) {
  long long sum = 0;
  for (int t = 0; t < 4; t++) sum += TexelTerm(format, a + 4 * t, b + 4 * t);
  return sum;
}

// ---- The tree: an ordered map from key to node, insertion keeps the first -------------
struct Node {
  uint8_t texels[16];
  long long count = 0;
  int entry = 0;
  long long distance = 0;
};
using Key = std::array<uint32_t, 4>;  // compared word by word, unsigned

Key ByteKey(const uint8_t *v) {
  Key key{};
  for (int i = 0; i < 16; i++) key[i / 4] = key[i / 4] << 8 | v[i];
  return key;
}

// Appends the bits of four bytes, most significant first, in the given order.
uint32_t InterleaveBits(int b0, int b1, int b2, int b3) {
  uint32_t word = 0;
  int bytes[4] = {b0, b1, b2, b3};
  for (int bit = 7; bit >= 0; bit--) {
    for (int i = 0; i < 4; i++) word = word << 1 | ((bytes[i] >> bit) & 1);
  }
  return word;
}

Key MortonKey(int format, const uint8_t *v) {
  int weighted[4][4];  // texel, channel A R G B (A not weighted)
  for (int t = 0; t < 4; t++) {
    int a = v[4 * t];
    weighted[t][0] = a;
    for (int c = 1; c < 4; c++) weighted[t][c] = v[4 * t + c] * a / 255;
  }
  uint8_t avg[4];
  for (int c = 0; c < 4; c++) {
    int sum = weighted[0][c] + weighted[1][c] + weighted[2][c] + weighted[3][c];
    avg[c] = static_cast<uint8_t>(sum / 4);
  }
  QuantiseTexel(format, avg);
  Key key;
  key[0] = InterleaveBits(avg[2], avg[1], avg[3], avg[0]);  // G R B A
  key[1] = InterleaveBits(weighted[0][2], weighted[1][2], weighted[2][2], weighted[3][2]);
  key[2] = InterleaveBits(weighted[0][1], weighted[1][1], weighted[2][1], weighted[3][1]);
  key[3] = InterleaveBits(weighted[0][3], weighted[1][3], weighted[2][3], weighted[3][3]);
  return key;
}

int CodebookSize(int side, bool small, bool mip) {
  if (side < 16 || side > 1024) return 0;
  if (!small) return side >= 64 ? 256 : 0;
  if (side == 16) return 16;
  if (side == 32) return mip ? 64 : 32;
  if (side == 64) return mip ? 0 : 128;
  return 0;
}

// Search from (bestEntry, best) over all entries; moves only to a strictly
// smaller distance; abandons an entry's sum once it reaches the best.
void LiteralSearch(int format, const uint8_t *v, const uint8_t (*codebook)[16], int size, int *bestEntry,
                   long long *best) {
  for (int e = 0; e < size; e++) {
    long long sum = 0;
    bool abandoned = false;
    for (int t = 0; t < 4; t++) {
      sum += TexelTerm(format, v + 4 * t, codebook[e] + 4 * t);
      if (sum >= *best) {
        abandoned = true;
        break;
      }
    }
    if (!abandoned) *best = sum, *bestEntry = e;
  }
}

uint16_t Pack(int format, const uint8_t *t) {
  if (format == 0) return static_cast<uint16_t>((t[0] >> 7) << 15 | (t[1] >> 3) << 10 | (t[2] >> 3) << 5 | t[3] >> 3);
  if (format == 1) return static_cast<uint16_t>((t[0] >> 4) << 12 | (t[1] >> 4) << 8 | (t[2] >> 4) << 4 | t[3] >> 4);
  return static_cast<uint16_t>((t[1] >> 3) << 11 | (t[2] >> 2) << 5 | t[3] >> 3);
}

void Put16(std::vector<uint8_t> &out, uint32_t v) {
  out.push_back(static_cast<uint8_t>(v & 0xFF));
  out.push_back(static_cast<uint8_t>(v >> 8));
}
void Put32(std::vector<uint8_t> &out, uint32_t v) {
  Put16(out, v & 0xFFFF);
  Put16(out, v >> 16);
}

}  // namespace

LiteralResult LiteralVQ(const LiteralOptions &options, const PVR_Input &input, int32_t globalIndex) {
  LiteralResult result;
  const int format = options.texelFormat;
  const int levelCount = static_cast<int>(input.levels.size());
  if (levelCount < 1 || levelCount > 12) return result;
  const PVR_Image &top = input.levels[0];
  if (top.width != top.height) return result;
  const int K = CodebookSize(top.width, options.smallVQ, options.mipmaps);
  if (K == 0) return result;

  // Vectors of every block of every level, into the tree.
  std::map<Key, Node *> tree;
  std::deque<Node> storage;  // nodes never move
  std::vector<std::vector<Node *>> slots(levelCount);
  std::vector<int> indexWidth(levelCount), indexHeight(levelCount);
  uint8_t lastTexel[4] = {};
  for (int l = 0; l < levelCount; l++) {
    const PVR_Image &level = input.levels[l];
    int w = level.width / 2 < 1 ? 1 : level.width / 2;
    int h = level.height / 2 < 1 ? 1 : level.height / 2;
    indexWidth[l] = w;
    indexHeight[l] = h;
    for (int by = 0; by < h; by++) {
      for (int bx = 0; bx < w; bx++) {
        uint8_t v[16];
        int xs[4] = {2 * bx, 2 * bx + 1, 2 * bx, 2 * bx + 1};
        int ys[4] = {2 * by, 2 * by, 2 * by + 1, 2 * by + 1};
        for (int t = 0; t < 4; t++) {
          int x = xs[t] < level.width ? xs[t] : level.width - 1;
          int y = ys[t] < level.height ? ys[t] : level.height - 1;
          for (int c = 0; c < 4; c++) v[4 * t + c] = level.texels[4 * (y * level.width + x) + c];
        }
        QuantiseVector(format, v);
        if (level.width == 1 && level.height == 1) {
          for (int c = 0; c < 4; c++) lastTexel[c] = v[c];
        }
        Key key = options.algorithm == 3 ? ByteKey(v) : MortonKey(format, v);
        auto found = tree.find(key);
        Node *node;
        if (found == tree.end()) {
          node = tree[key] = &storage.emplace_back();
          for (int i = 0; i < 16; i++) node->texels[i] = v[i];
        } else {
          node = found->second;
        }
        node->count++;
        slots[l].push_back(node);
      }
    }
  }
  std::vector<Node *> array;
  for (auto &pair : tree) array.push_back(pair.second);
  const int N = static_cast<int>(array.size());

  uint8_t codebook[256][16] = {};
  if (K >= N) {
    for (int i = 0; i < N; i++) {
      for (int b = 0; b < 16; b++) codebook[i][b] = array[i]->texels[b];
      array[i]->entry = i;
    }
  } else {
    int passes, step = 1;
    if (options.algorithm == 3) {
      int g = static_cast<int>(std::sqrt(static_cast<double>(K)));
      int W = indexWidth[0], H = indexHeight[0];
      int e = 0;
      for (int i = 0; i < g; i++) {
        for (int j = 0; j < g; j++) {
          int row = (i * H) / g + H / (2 * g);
          int col = (j * W) / g + W / (2 * g);
          Node *node = slots[0][row * W + col];
          for (int b = 0; b < 16; b++) codebook[e][b] = node->texels[b];
          QuantiseVector(format, codebook[e]);
          e++;
        }
      }
      int rest = K - g * g;
      for (int k = 0; k < rest; k++) {
        int position = (k * W * H) / rest + (W * H) / (2 * rest);
        Node *node = slots[0][position];
        for (int b = 0; b < 16; b++) codebook[e][b] = node->texels[b];
        QuantiseVector(format, codebook[e]);
        e++;
      }
      passes = 10;
    } else {
      int first = N / K;
      int per = (N - first) / (K - 1);
      int surplus = (N - first) % (K - 1);
      int position = 0;
      for (int e = 0; e < K; e++) {
        int take = (e == 0 ? first : per);
        if (e < surplus) take++;
        long long sum[16] = {};
        long long total = 0;
        for (int i = position; i < position + take; i++) {
          for (int b = 0; b < 16; b++) sum[b] += array[i]->count * array[i]->texels[b];
          total += array[i]->count;
        }
        position += take;
        for (int b = 0; b < 16; b++) codebook[e][b] = static_cast<uint8_t>(sum[b] / total);
        QuantiseVector(format, codebook[e]);
      }
      passes = 32;
      if (indexWidth[0] == 256) step = 2;
      if (indexWidth[0] == 512) step = 8;
    }

    long long visited = 0;
    double lastReport = 0.0;
    for (int pass = 1; pass <= passes; pass++) {
      long long sums[256][16] = {};
      long long counts[256] = {};
      for (int i = pass % step; i < N; i += step) {
        Node *node = array[i];
        // Pass 1 searches from an empty best; later passes keep the entry
        // while its distance does not grow, else search from it.
        const long long d = pass == 1 ? 0 : FullDistance(format, node->texels, codebook[node->entry]);
        if (pass > 1 && d <= node->distance) {
          node->distance = d;
        } else {
          int bestEntry = pass == 1 ? 0 : node->entry;
          long long best = pass == 1 ? 1000000000 : d;
          LiteralSearch(format, node->texels, codebook, K, &bestEntry, &best);
          node->entry = bestEntry, node->distance = best;
        }
        for (int b = 0; b < 16; b++) {
          if (b % 4 == 0 && !HasAlpha(format)) continue;
          sums[node->entry][b] += node->count * node->texels[b];
        }
        counts[node->entry] += node->count;
        visited++;
        if (visited % 32 == 0) {
          double fraction = 0.9 * static_cast<double>(visited) / (32.0 * N / step) + 0.05;
          if (fraction - lastReport >= 0.05) result.progress.push_back(fraction), lastReport = fraction;
        }
      }
      for (int e = 0; e < K; e++) {
        if (counts[e] == 0) continue;
        for (int b = 0; b < 16; b++) {
          if (b % 4 == 0 && !HasAlpha(format)) continue;
          float value = static_cast<float>(sums[e][b]) * (1.0f / static_cast<float>(counts[e]));
          value = value + 0.49999f;
          codebook[e][b] = static_cast<uint8_t>(static_cast<int>(value));
        }
        QuantiseVector(format, codebook[e]);
      }
    }

    // Final matching from an empty best.
    for (Node *node : array) {
      int bestEntry = -1;
      long long best = 0;
      for (int e = 0; e < K; e++) {
        long long d = FullDistance(format, node->texels, codebook[e]);
        if (bestEntry < 0 || d < best) best = d, bestEntry = e;
      }
      node->entry = bestEntry;
    }
  }
  if (options.algorithm == 3) result.progress.push_back(1.0);

  // Index images.
  std::vector<std::vector<uint8_t>> indices(levelCount);
  for (int l = 0; l < levelCount; l++) {
    for (Node *node : slots[l]) indices[l].push_back(static_cast<uint8_t>(node->entry));
  }
  if (options.mipmaps && levelCount > 1 && input.levels.back().width == 1) {
    int bestEntry = 0;
    long long best = TexelTerm(format, lastTexel, codebook[0] + 12);
    for (int e = 1; e < K; e++) {
      long long d = TexelTerm(format, lastTexel, codebook[e] + 12);
      if (d < best) best = d, bestEntry = e;
    }
    indices[levelCount - 1][0] = static_cast<uint8_t>(bestEntry);
  }

  // The file.
  int pixelFormat = format == 0 ? 0 : format == 1 ? 2 : 1;
  int type = options.smallVQ ? (options.mipmaps ? 0x11 : 0x10) : (options.mipmaps ? 0x04 : 0x03);
  std::vector<uint8_t> &file = result.file;
  if (globalIndex != -1) {
    file.insert(file.end(), {'G', 'B', 'I', 'X'});
    Put32(file, 8);
    Put32(file, static_cast<uint32_t>(globalIndex));
    Put32(file, 0x20202020);
  }
  uint32_t length = 8 * K + 8 + (levelCount > 1 ? 10 : 0);
  for (int l = 0; l < levelCount; l++) length += static_cast<uint32_t>(indices[l].size());
  file.insert(file.end(), {'P', 'V', 'R', 'T'});
  Put32(file, length);
  Put32(file, static_cast<uint32_t>(pixelFormat | type << 8));
  Put16(file, static_cast<uint32_t>(indexWidth[0] * 2));
  Put16(file, static_cast<uint32_t>(indexHeight[0] * 2));
  for (int e = 0; e < K; e++) {
    const int order[4] = {0, 2, 1, 3};
    for (int t : order) Put16(file, Pack(format, codebook[e] + 4 * t));
  }
  for (int l = levelCount - 1; l >= 0; l--) {
    int w = indexWidth[l];
    for (int T = 0; T < w * indexHeight[l]; T++) {
      int x = 0, y = 0;
      for (int bit = 0; bit < 16; bit++) {
        y |= ((T >> (2 * bit)) & 1) << bit;
        x |= ((T >> (2 * bit + 1)) & 1) << bit;
      }
      file.push_back(indices[l][y * w + x]);
    }
  }
  if (levelCount > 1) file.insert(file.end(), 10, 0);
  result.ok = true;
  return result;
}

// ---- Images -------------------------------------------------------------------------------
const char *ImageKindName(ImageKind kind) {
  const char *names[] = {"photo", "noise", "few", "bilevel", "graded", "flat"};
  const unsigned k = static_cast<unsigned>(kind);
  return k < std::size(names) ? names[k] : "?";
}

PVR_Image MakeImage(ImageKind kind, int side, uint32_t seed) {
  PVR_Image image;
  image.width = image.height = side;
  image.texels.resize(4 * static_cast<size_t>(side) * side);
  std::mt19937 random(seed);
  auto noise = [&](int amplitude) { return static_cast<int>(random() % (2 * amplitude + 1)) - amplitude; };
  auto clamp = [](double v) { return static_cast<uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v); };
  const uint8_t palette[5][3] = {{200, 30, 40}, {20, 180, 60}, {30, 40, 220}, {250, 250, 250}, {0, 0, 0}};
  double fx = 1.0 + random() % 5, fy = 1.0 + random() % 5, phase = random() % 100;
  for (int y = 0; y < side; y++) {
    for (int x = 0; x < side; x++) {
      uint8_t *t = image.At(x, y);
      double u = static_cast<double>(x) / side, v = static_cast<double>(y) / side;
      // Smooth gradients and waves, a disc and a diagonal edge, noise.
      double r = 128 + 100 * std::sin(6.28 * fx * u + phase) * std::cos(3.14 * v);
      double g = 60 + 150 * v + 30 * std::sin(6.28 * fy * (u + v));
      double b = 200 - 150 * u * v;
      if ((u - 0.6) * (u - 0.6) + (v - 0.4) * (v - 0.4) < 0.04) r = 240, g = 220, b = 60;
      if (u + 0.5 * v > 1.1) r *= 0.4, g *= 0.4, b *= 0.5;
      t[0] = 255;
      t[1] = clamp(r + noise(8));
      t[2] = clamp(g + noise(8));
      t[3] = clamp(b + noise(8));
      switch (kind) {
        case ImageKind::kNoise:
          t[1] = static_cast<uint8_t>(random()), t[2] = static_cast<uint8_t>(random()),
          t[3] = static_cast<uint8_t>(random());
          break;
        case ImageKind::kFewColours: {
          const uint8_t *c = palette[((x / 4) * 7 + (y / 4) * 3 + (x / 4) * (y / 4)) % 5];
          t[1] = c[0], t[2] = c[1], t[3] = c[2];
          break;
        }
        case ImageKind::kBilevel:
          t[0] = ((x / 3 + y / 5) % 4 == 0) ? 0 : 255;
          break;
        case ImageKind::kGraded:
          t[0] = clamp(255 * u + noise(20));
          break;
        case ImageKind::kFlat:
          t[1] = 132, t[2] = 130, t[3] = 7;
          break;
        case ImageKind::kPhoto:
          break;
      }
    }
  }
  return image;
}

PVR_Input BoxMipmaps(const PVR_Image &image, bool mipmaps) {
  PVR_Input input;
  input.levels.push_back(image);
  if (!mipmaps) return input;
  for (int k = 1; (image.width >> (k - 1)) > 1; k++) {
    PVR_Image level;
    level.width = image.width >> k;
    level.height = image.height >> k;
    level.texels.resize(4 * static_cast<size_t>(level.width) * level.height);
    int block = 1 << k;
    for (int y = 0; y < level.height; y++) {
      for (int x = 0; x < level.width; x++) {
        for (int c = 0; c < 4; c++) {
          long sum = 0;
          for (int j = 0; j < block; j++) {
            for (int i = 0; i < block; i++) sum += image.At(x * block + i, y * block + j)[c];
          }
          level.At(x, y)[c] = static_cast<uint8_t>((sum + (1L << (2 * k - 1))) >> (2 * k));
        }
      }
    }
    input.levels.push_back(level);
  }
  return input;
}

void LiteralDither(PVR_Image *level, int pixelFormat, bool alphaDither) {
  if (level->width <= 1 || level->height <= 1) return;
  // Bits per channel (A R G B); 0 means the channel's error is 0.
  int bits[4] = {0, 0, 0, 0};
  if (pixelFormat == 0 || pixelFormat == 5) bits[1] = bits[2] = bits[3] = 5;
  if (pixelFormat == 1) bits[1] = 5, bits[2] = 6, bits[3] = 5;
  if (pixelFormat == 2) bits[0] = bits[1] = bits[2] = bits[3] = 4;
  bool alphaTakesPart = alphaDither && pixelFormat != 0;
  std::vector<int> below(4 * static_cast<size_t>(level->width), 0);
  int right[4] = {}, diagonal[4] = {};
  for (int y = 0; y < level->height; y++) {
    for (int x = 0; x < level->width; x++) {
      uint8_t *t = level->At(x, y);
      for (int c = 0; c < 4; c++) {
        if (c == 0 && !alphaTakesPart) continue;
        int value = t[c] + right[c] + below[4 * x + c];
        value = value < 0 ? 0 : value > 255 ? 255 : value;
        t[c] = static_cast<uint8_t>(value);
        int e = 0;
        if (bits[c] == 5) e = value - ((value & 0xF8) | 4);
        if (bits[c] == 6) e = value - ((value & 0xFC) | 2);
        if (bits[c] == 4) e = value - ((value & 0xF0) | 4 | ((value >> 4) & 8));
        int q = (3 * e + 4) >> 3;
        below[4 * x + c] = diagonal[c] + q;
        diagonal[c] = e - 2 * q;
        right[c] = q;
      }
    }
  }
}

double VQFilePSNR(const std::vector<uint8_t> &file, const PVR_Image &source) {
  size_t at = 0;
  if (file.size() >= 16 && file[0] == 'G') at = 16;
  auto get16 = [&](size_t p) { return static_cast<uint32_t>(file[p] | file[p + 1] << 8); };
  uint32_t length = get16(at + 4) | get16(at + 6) << 16;
  int pixelFormat = file[at + 8], type = file[at + 9];
  int side = static_cast<int>(get16(at + 12));
  bool mip = type == 0x04 || type == 0x11;
  int w = side / 2;
  size_t indexBytes = 0;
  for (int s = w; s >= 1; s /= 2) indexBytes += static_cast<size_t>(s) * s;
  if (mip) indexBytes += 1;  // the 1x1 level's own index
  if (!mip) indexBytes = static_cast<size_t>(w) * w;
  size_t entries = (length - 8 - (mip ? 10 : 0) - indexBytes) / 8;
  size_t codebook = at + 16;
  size_t level0 = codebook + 8 * entries + indexBytes - static_cast<size_t>(w) * w;
  auto expand = [](uint32_t v, int bitsCount) {
    return bitsCount == 4 ? v * 17 : bitsCount == 5 ? (v << 3 | v >> 2) : (v << 2 | v >> 4);
  };
  double squared = 0;
  for (int y = 0; y < side; y++) {
    for (int x = 0; x < side; x++) {
      int bx = x / 2, by = y / 2;
      uint32_t T = 0;
      for (int bit = 0; bit < 16; bit++) T |= ((by >> bit) & 1u) << (2 * bit) | ((bx >> bit) & 1u) << (2 * bit + 1);
      int entry = file[level0 + T];
      int inBlock = (x & 1) * 2 + (y & 1);  // file order: top-left, bottom-left, top-right, bottom-right
      uint32_t word = get16(codebook + 8 * entry + 2 * inBlock);
      uint32_t rgb[3];
      if (pixelFormat == 0) rgb[0] = expand(word >> 10 & 31, 5), rgb[1] = expand(word >> 5 & 31, 5), rgb[2] = expand(word & 31, 5);
      else if (pixelFormat == 2) rgb[0] = expand(word >> 8 & 15, 4), rgb[1] = expand(word >> 4 & 15, 4), rgb[2] = expand(word & 15, 4);
      else rgb[0] = expand(word >> 11 & 31, 5), rgb[1] = expand(word >> 5 & 63, 6), rgb[2] = expand(word & 31, 5);
      for (int c = 0; c < 3; c++) {
        double d = static_cast<double>(rgb[c]) - source.At(x, y)[c + 1];
        squared += d * d;
      }
    }
  }
  double mse = squared / (3.0 * side * side);
  return mse == 0 ? 99.0 : 10.0 * std::log10(255.0 * 255.0 / mse);
}

}  // namespace vqtest
