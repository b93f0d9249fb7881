// The triangle order on packed integer keys against the comparison sort it
// replaced and the literal exchange sort, over many random key sets with
// heavy ties, both zeros, negatives, infinities and tiny differences.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "process/strips.h"
#include "process/strips_order.h"
#include "process_util.h"

namespace {

std::vector<int32_t> Fast(const std::vector<float> &keys) {
  const auto n = static_cast<int32_t>(keys.size() / 3);
  std::vector<int32_t> order(keys.size() / 3 + 1, -7);
  VKTriangleOrder(keys.data(), n, order.data());
  order.pop_back();
  return order;
}

std::vector<int32_t> Compared(const std::vector<float> &keys) {
  const auto n = static_cast<int32_t>(keys.size() / 3);
  std::vector<int32_t> order(keys.size() / 3);
  vkorder::FrontNotSmallerOrder(n, vkorder::TriangleKeyLess{keys.data()}, order.data());
  return order;
}

std::vector<int32_t> Literal(const std::vector<float> &keys) {
  std::vector<int32_t> order(keys.size() / 3);
  ptest::LiteralTriangleOrder(keys.data(), static_cast<int32_t>(order.size()), order.data());
  return order;
}

TEST(TriangleOrderSpeed, PackedKeysGiveTheComparisonAndExchangeOrders) {
  const float inf = std::numeric_limits<float>::infinity();
  const std::vector<std::vector<float>> pools = {
      {0.0f, -0.0f, 999.0f},
      {0.0f, 0.0f, 12.5f, 45.0f, 90.0f, 999.0f, -0.0f},
      {1.0f, std::nextafter(1.0f, 2.0f), std::nextafter(1.0f, 0.0f), 1e-40f, -1e-40f, 0.0f, -0.0f},
      {-3.0f, -2.5f, -0.0f, 0.0f, 2.5f, 3.0f, inf, -inf, 179.99f, 180.0f},
  };
  std::mt19937 rng(2024);
  int cases = 0;
  for (const std::vector<float> &pool : pools) {
    for (int32_t n : {0, 1, 2, 3, 7, 40, 200, 1500}) {
      for (int round = 0; round < 6; ++round) {
        std::vector<float> keys(static_cast<size_t>(n) * 3);
        // Some rounds draw a few distinct values only: long runs of equal keys.
        const size_t spread = round % 2 == 0 ? pool.size() : std::min<size_t>(2, pool.size());
        for (float &k : keys) k = pool[rng() % spread];
        if (round >= 4) {
          for (float &k : keys) k = static_cast<float>(rng() % 1000) * 0.18f;  // angles, rarely tied
        }
        SCOPED_TRACE(testing::Message() << "n " << n << " round " << round);
        const std::vector<int32_t> fast = Fast(keys);
        EXPECT_EQ(fast, Compared(keys));
        EXPECT_EQ(fast, Literal(keys));
        ++cases;
      }
    }
  }
  EXPECT_EQ(cases, 4 * 8 * 6);
}

// Up to 16 triangles, where the comparison sort is an insertion sort that
// stays in bounds even with keys it cannot rank.
TEST(TriangleOrderSpeed, NaNKeysTakeTheComparisonSort) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  std::mt19937 rng(5);
  for (int round = 0; round < 20; ++round) {
    std::vector<float> keys(3 * static_cast<size_t>(1 + round % 16));
    for (float &k : keys) k = rng() % 9 == 0 ? nan : static_cast<float>(rng() % 4) * 30.0f;
    EXPECT_EQ(Fast(keys), Compared(keys));
  }
}

// The edge order (one packed sort, pairs of equal keys placed directly)
// against the general strict-variant order with its stable comparison sort
// and against the literal exchange sort (the oracle of the pairs).
TEST(EdgeOrderSpeed, PackedSortAndPairsGiveTheComparisonAndExchangeOrders) {
  std::mt19937 rng(77);
  int cases = 0;
  for (int32_t n : {0, 1, 2, 3, 5, 16, 99, 300, 3000}) {
    for (uint32_t range : {1u, 2u, 3u, 50u, 1000u, 0xFFFFFFFFu}) {
      std::vector<uint32_t> keys(static_cast<size_t>(n));
      for (uint32_t &k : keys) k = range == 0xFFFFFFFFu ? static_cast<uint32_t>(rng()) : static_cast<uint32_t>(rng() % range) * 0x10001u;
      // Mostly pairs, as a closed mesh's edges come.
      if (range == 1000u && n > 1) {
        for (int32_t i = 0; i + 1 < n; i += 2) keys[rng() % n] = keys[i];
      }
      SCOPED_TRACE(testing::Message() << "n " << n << " range " << range);
      std::vector<int32_t> fast(static_cast<size_t>(n) + 1, -7), compared(static_cast<size_t>(n) + 1, -7);
      VKEdgeOrder(keys.data(), n, fast.data());
      vkorder::StrictExchangeOrder(n, [&](int32_t x, int32_t y) { return keys[x] < keys[y]; }, compared.data());
      EXPECT_EQ(fast, compared);
      std::vector<int32_t> literal(static_cast<size_t>(n) + 1, -7);
      ptest::LiteralEdgeOrder(keys.data(), n, literal.data());
      EXPECT_EQ(fast, literal);
      ++cases;
    }
  }
  EXPECT_EQ(cases, 9 * 6);
}

}  // namespace
