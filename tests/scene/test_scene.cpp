#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "base/console.h"
#include "scene/memory.h"
#include "scene/records.h"
#include "support/console_capture.h"
#include "support/test_support.h"

namespace {

class SceneTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ScFreeAll();  // a previous test may have left the table initialised
    ScMallocTabInit();
    ScResetCreationCounters();
  }
  void TearDown() override { ScFreeAll(); }
};

TEST_F(SceneTest, SecondPageOpensAtBlock4097AndDropsOnRelease) {
  for (int i = 0; i < 4096; i++) ScMalloc(8, "t");
  EXPECT_EQ(ScMallocGetStats().pageCount, 1);
  void *extra = ScMalloc(8, "t");
  EXPECT_EQ(ScMallocGetStats().pageCount, 2);
  EXPECT_EQ(ScMallocGetStats().used, 1);
  ScFree(extra, "t");
  EXPECT_EQ(ScMallocGetStats().pageCount, 1);
  EXPECT_EQ(ScMallocGetStats().used, 4096);
  EXPECT_EQ(ScMallocGetStats().blocks, 4096);
}

// An allocation the system refuses throws the allocator's stop with its tag,
// leaving the table as it was.
TEST_F(SceneTest, RefusedAllocationThrowsItsStop) {
  void *kept = ScMalloc(8, "t");
  try {
    ScMalloc(static_cast<size_t>(-1) / 2, "nodes(ScGetNodeList)");
    ADD_FAILURE() << "no throw";
  } catch (const VKOutOfMemory &failure) {
    EXPECT_STREQ(failure.what(), "Error: Can't malloc nodes(ScGetNodeList)\n");
    EXPECT_EQ(failure.status().code, VKStatusCode::kOutOfMemory);
  }
  EXPECT_EQ(ScMallocGetStats().blocks, 1);
  EXPECT_EQ(ScMallocBlockAt(0), kept);
}

// The literal table: one unbroken run of references, released by a linear
// search from the first slot with the last reference moved into the hole.
// Blocks arrive zero-filled even where freed blocks are reused.
TEST_F(SceneTest, IndexedReleaseMatchesLiteralSearch) {
  std::mt19937 random(7);
  std::vector<void *> literal, live;
  for (int step = 0; step < 30000; step++) {
    unsigned roll = random() % 100;
    if (live.empty() || roll < 55) {
      size_t size = 1 + random() % 32;
      auto *block = static_cast<unsigned char *>(ScMalloc(size, "t"));
      ASSERT_EQ(std::count(block, block + size, 0), static_cast<long>(size)) << step;
      std::memset(block, 0xA5, size);
      literal.push_back(block);
      live.push_back(block);
    } else {
      std::swap(live[random() % live.size()], live.back());
      void *block = live.back();
      live.pop_back();
      ScFree(block, "t");
      *std::find(literal.begin(), literal.end(), block) = literal.back();
      literal.pop_back();
    }
  }
  ASSERT_EQ(ScMallocGetStats().blocks, static_cast<long>(literal.size()));
  EXPECT_EQ(ScMallocGetStats().pageCount, literal.empty() ? 1 : static_cast<int>((literal.size() + 4095) / 4096));
  for (size_t i = 0; i < literal.size(); i++) ASSERT_EQ(ScMallocBlockAt(static_cast<long>(i)), literal[i]) << i;
}

TEST(TrackedTableUninitialised, ReleaseBeforeInitPrintsAndReleasesNothing) {
  ScFreeAll();  // leaves the table uninitialised
  vktest::Capture capture(ErrorStream, SetErrorStream);
  int local = 0;
  ScFree(&local, "probe");  // a stack address: releasing it would crash
  EXPECT_EQ(capture.Text(), "\n##### Error: You must call ScMallocTabInit for ScObject probe\n");
}

// The second round likely gets the dirtied buffers of the first back.
TEST(PagedPool, WriterTwinZeroFillsEveryBuffer) {
  for (int round = 0; round < 2; round++) {
    PagedPool pool{};
    VPoolInit(&pool);
    for (int i = 0; i < 3; i++) {
      auto *bytes = static_cast<unsigned char *>(VPoolAlloc(&pool, 3000, "t"));
      ASSERT_EQ(std::count(bytes, bytes + 3000, 0), 3000);
      std::memset(bytes, 0xFF, 3000);
    }
    VPoolFreeAll(&pool);
  }
}

TEST(BufferChain, ThreePiecesWithTenUsedBytesWrite8202Bytes) {
  vktest::ScratchDir dir;
  BufferChain chain{};
  ASSERT_TRUE(BufferInit(&chain).ok());
  std::memset(chain.first->data, 'a', 4096);
  ASSERT_TRUE(BufferAddPiece(&chain).ok());
  ASSERT_TRUE(BufferAddPiece(&chain).ok());
  chain.current->data[9] = 'z';
  chain.used = 10;
  EXPECT_EQ(chain.current->offset, 8192);
  EXPECT_EQ(BufferSize(&chain), 8202);
  std::string name = dir.file("out.bin");
  ASSERT_TRUE(BufferWriteFile(&chain, name.c_str()));
  EXPECT_EQ(vktest::ReadFile(name), std::string(4096, 'a') + std::string(4105, '\0') + "z");
  EXPECT_FALSE(vktest::Exists(name + ".tmp~"));
  EXPECT_FALSE(BufferWriteFile(&chain, dir.file("missing/out.bin").c_str()));
  BufferFreeAll(&chain);
}

template <typename T, size_t N>
std::vector<T> All(const T (&array)[N]) {
  return std::vector<T>(array, array + N);
}

TEST_F(SceneTest, InitialValues) {
  EXPECT_EQ(ScObjectAlloc("", 7), nullptr);
  EXPECT_EQ(ScModelAlloc(""), nullptr);
  EXPECT_STREQ(ScObjectAlloc("ship", 7)->name, "ship");
  ScModel *first = ScModelAlloc("arm.L.001");
  EXPECT_STREQ(first->name, "arm_L_001");
  EXPECT_EQ(first->id, 0);
  EXPECT_EQ(ScModelAlloc("body")->id, 1);
  const std::vector<float> identity = {1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0};
  EXPECT_EQ(All(first->matrixA), identity);
  EXPECT_EQ(All(first->matrixB), identity);
  ScMesh *mesh = ScMeshAlloc(0, 3, 3);
  ASSERT_EQ(mesh->nbPolygon, 3);
  ASSERT_EQ(mesh->nbAttribute, 3);
  EXPECT_EQ(mesh->polygons[2].index, 2);
  const ScAttribute &a = mesh->attributes[1];
  EXPECT_EQ(a.index, 1);
  EXPECT_EQ(All(a.words), (std::vector<int32_t>{5, 0, 1, 0, 0, 0, 1, 1, 0, 3, 0, 2, 2, 2, -1, 0}));
  EXPECT_EQ(All(a.diffuse), (std::vector<float>{0.8f, 0.8f, 0.8f, 0.0f}));
  const ScVertex &v = ScMeshAlloc(2, 0, 0)->vertices[1];
  EXPECT_EQ(v.index, 1);
  const std::vector<uint8_t> grey = {178, 178, 178, 255};
  EXPECT_EQ(All(v.diffuse), grey);
  EXPECT_EQ(All(v.specular), (std::vector<uint8_t>{0, 0, 0, 255}));
  EXPECT_EQ(All(ScPolyNodeAlloc(4)[3].color), grey);
  EXPECT_EQ(ScPolyNodeAlloc(0), nullptr);
}

TEST_F(SceneTest, ListsAndReleaseLeaveNothingTracked) {
  long before = ScMallocGetStats().blocks;
  ScObject *object = ScObjectAlloc("scene", 7);
  ScModel *root = object->root = ScModelAlloc("root");
  ScModel *child = root->child = ScModelAlloc("child");
  for (ScModel *node = child; node->id < 50; node = node->sibling) node->sibling = ScModelAlloc("sib");
  root->hasMesh = 1;
  root->mesh = ScMeshAlloc(3, 1, 1);
  root->mesh->polygons[0].corners = ScPolyNodeAlloc(3);
  root->materials = ScMaterialsAlloc(2);
  root->nbMaterial = 2;
  EXPECT_EQ(root->materials->bank, -1);
  ASSERT_NE(root->materials->next, nullptr);
  EXPECT_EQ(root->materials->next->next, nullptr);
  root->materials->name = ScVStrdup("DS_wall");
  root->materials->textures = ScTextureAlloc(1);
  root->materials->textures->picname = ScVStrdup("wall.bmp");
  // A node without geometry keeps whatever its mesh reference holds.
  ScMesh *unowned = child->mesh = ScMeshAlloc(1, 0, 0);
  ScObjectFree(object);
  // Only the unowned mesh and its vertex array are still tracked.
  ASSERT_EQ(ScMallocGetStats().blocks, before + 2);
  EXPECT_EQ((std::set<void *>{ScMallocBlockAt(before), ScMallocBlockAt(before + 1)}),
            (std::set<void *>{unowned, unowned->vertices}));
}

}  // namespace
