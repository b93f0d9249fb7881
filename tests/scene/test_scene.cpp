#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <random>
#include <vector>

#include "frontend/console.h"
#include "scene/memory.h"
#include "support/test_support.h"

namespace {

class TrackedTableTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ScFreeAll();  // a previous test may have left the table initialised
    ScMallocTabInit();
  }
  void TearDown() override { ScFreeAll(); }
};

TEST_F(TrackedTableTest, SecondPageOpensAtBlock4097AndDropsOnRelease) {
  std::vector<void *> blocks;
  for (int i = 0; i < 4096; i++) blocks.push_back(ScMalloc(8, "t"));
  EXPECT_EQ(ScMallocGetStats().pageCount, 1);
  EXPECT_EQ(ScMallocGetStats().used, 4096);
  void *extra = ScMalloc(8, "t");
  EXPECT_EQ(ScMallocGetStats().pageCount, 2);
  EXPECT_EQ(ScMallocGetStats().used, 1);
  ScFree(extra, "t");
  ScMallocStats after = ScMallocGetStats();
  EXPECT_EQ(after.pageCount, 1);
  EXPECT_EQ(after.used, 4096);
  EXPECT_EQ(after.blocks, 4096);
  // Releasing a block of the first page moves the last reference into it.
  ScFree(blocks[10], "t");
  EXPECT_EQ(ScMallocBlockAt(10), blocks[4095]);
  EXPECT_EQ(ScMallocGetStats().used, 4095);
}

TEST_F(TrackedTableTest, BlocksAreZeroFilledAndStrdupSkipsEmptyText) {
  auto *bytes = static_cast<unsigned char *>(ScMalloc(64, "t"));
  for (int i = 0; i < 64; i++) EXPECT_EQ(bytes[i], 0);
  long before = ScMallocGetStats().blocks;
  EXPECT_EQ(ScVStrdup(""), nullptr);
  EXPECT_EQ(ScVStrdup(nullptr), nullptr);
  EXPECT_EQ(ScMallocGetStats().blocks, before);
  char *copy = ScVStrdup("ship.L.01");
  EXPECT_STREQ(copy, "ship.L.01");
  EXPECT_EQ(ScMallocGetStats().blocks, before + 1);
}

TEST_F(TrackedTableTest, UnrecordedBlockIsReleasedWithoutChangingTheTable) {
  ScMalloc(4, "t");
  ScMallocStats before = ScMallocGetStats();
  ScFree(std::malloc(16), "foreign");
  ScMallocStats after = ScMallocGetStats();
  EXPECT_EQ(after.blocks, before.blocks);
  EXPECT_EQ(ScMallocBlockAt(0), ScMallocBlockAt(0));
}

TEST(TrackedTableUninitialised, ReleaseBeforeInitPrintsAndReleasesNothing) {
  ScFreeAll();
  ScFreeAll();  // second call: not initialised
  FILE *capture = std::tmpfile();
  SetErrorStream(capture);
  int local = 0;
  ScFree(&local, "probe");
  SetErrorStream(stderr);
  std::rewind(capture);
  char text[256] = {};
  size_t n = std::fread(text, 1, sizeof(text) - 1, capture);
  std::fclose(capture);
  EXPECT_EQ(std::string(text, n), "\n##### Error: You must call ScMallocTabInit for ScObject probe\n");
}

// The literal table: one unbroken run of references, released by a linear
// search from the first slot with the last reference moved into the hole.
TEST_F(TrackedTableTest, IndexedReleaseMatchesLiteralSearch) {
  std::mt19937 random(7);
  std::vector<void *> literal;
  std::vector<void *> live;
  for (int step = 0; step < 30000; step++) {
    bool allocate = live.empty() || random() % 100 < 55;
    if (allocate) {
      void *block = ScMalloc(1 + random() % 32, "t");
      literal.push_back(block);
      live.push_back(block);
    } else {
      size_t pick = random() % live.size();
      void *block = live[pick];
      live[pick] = live.back();
      live.pop_back();
      ScFree(block, "t");
      for (size_t i = 0; i < literal.size(); i++) {
        if (literal[i] == block) {
          literal[i] = literal.back();
          literal.pop_back();
          break;
        }
      }
    }
  }
  ScMallocStats stats = ScMallocGetStats();
  ASSERT_EQ(stats.blocks, static_cast<long>(literal.size()));
  EXPECT_EQ(stats.pageCount, literal.empty() ? 1 : static_cast<int>((literal.size() + 4095) / 4096));
  for (size_t i = 0; i < literal.size(); i++) ASSERT_EQ(ScMallocBlockAt(static_cast<long>(i)), literal[i]) << i;
}

TEST(PagedPool, RequestsRoundToFourAndBigBlocksGetTheirOwnChunk) {
  PagedPool pool{};
  PoolInit(&pool);
  EXPECT_EQ(pool.chunkCount, 1);
  PoolAlloc(&pool, 1, "t");
  EXPECT_EQ(pool.used, 4);
  void *whole = PoolAlloc(&pool, 4096, "t");  // does not fit behind the 4 bytes
  EXPECT_EQ(pool.chunkCount, 2);
  EXPECT_EQ(whole, pool.current->buffer);
  EXPECT_EQ(pool.used, 4096);
  PoolChunk *current = pool.current;
  void *big = PoolAlloc(&pool, 4097, "t");
  EXPECT_EQ(pool.chunkCount, 3);
  EXPECT_EQ(pool.first->buffer, big);
  EXPECT_EQ(pool.current, current);
  EXPECT_EQ(pool.used, 4096);
  std::memset(big, 0xAB, 4100);  // the chunk holds the rounded 4100 bytes
  EXPECT_STREQ(PoolStrdup(&pool, "name"), "name");
  EXPECT_EQ(PoolStrdup(&pool, ""), nullptr);
  PoolFreeAll(&pool);
  EXPECT_EQ(pool.chunkCount, 0);
  EXPECT_EQ(pool.first, nullptr);
}

TEST(PagedPool, WriterTwinZeroFillsEveryBuffer) {
  PagedPool pool{};
  VPoolInit(&pool);
  for (int i = 0; i < 3; i++) {
    auto *bytes = static_cast<unsigned char *>(VPoolAlloc(&pool, 3000, "t"));
    for (int k = 0; k < 3000; k++) ASSERT_EQ(bytes[k], 0);
    std::memset(bytes, 0xFF, 3000);
  }
  VPoolFreeAll(&pool);
}

TEST(BufferChain, ThreePiecesWithTenUsedBytesWrite8202Bytes) {
  vktest::ScratchDir dir;
  BufferChain chain{};
  BufferInit(&chain);
  std::memset(chain.first->data, 'a', 4096);
  BufferAddPiece(&chain);
  BufferAddPiece(&chain);
  chain.used = 10;
  EXPECT_EQ(chain.pieceCount, 3);
  EXPECT_EQ(chain.current->offset, 8192);
  EXPECT_EQ(BufferSize(&chain), 8202);
  std::string name = dir.file("out.bin");
  ASSERT_TRUE(BufferWriteFile(&chain, name.c_str()));
  std::string bytes = vktest::ReadFile(name);
  ASSERT_EQ(bytes.size(), 8202u);
  EXPECT_EQ(bytes[0], 'a');
  EXPECT_EQ(bytes[4096], '\0');
  EXPECT_FALSE(vktest::Exists(name + ".tmp~"));
  // A file that cannot be opened leaves the old one untouched.
  EXPECT_FALSE(BufferWriteFile(&chain, dir.file("missing/out.bin").c_str()));
  BufferFreeAll(&chain);
  EXPECT_EQ(chain.first, nullptr);
}

}  // namespace
