#include <gtest/gtest.h>

#include "scene/memory.h"
#include "scene/records.h"

namespace {

class RecordsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ScFreeAll();
    ScMallocTabInit();
    ScResetCreationCounters();
  }
  void TearDown() override { ScFreeAll(); }
};

TEST_F(RecordsTest, NamesAndEmptyNames) {
  EXPECT_EQ(ScObjectAlloc("", 7), nullptr);
  EXPECT_EQ(ScModelAlloc(""), nullptr);
  ScObject *object = ScObjectAlloc("ship", 7);
  ASSERT_NE(object, nullptr);
  EXPECT_STREQ(object->name, "ship");
  EXPECT_EQ(object->kind, 7);
  ScModel *first = ScModelAlloc("arm.L.001");
  ScModel *second = ScModelAlloc("body");
  EXPECT_STREQ(first->name, "arm_L_001");
  EXPECT_EQ(first->id, 0);
  EXPECT_EQ(second->id, 1);
  const float identity[12] = {1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0};
  for (int i = 0; i < 12; i++) {
    EXPECT_EQ(first->matrixA[i], identity[i]);
    EXPECT_EQ(first->matrixB[i], identity[i]);
  }
  EXPECT_EQ(first->hasMesh, 0);
  EXPECT_EQ(first->instroot, nullptr);
}

TEST_F(RecordsTest, InitialValuesOfMeshArrays) {
  ScMesh *mesh = ScMeshAlloc(0, 3, 3);
  EXPECT_EQ(mesh->vertices, nullptr);
  EXPECT_EQ(mesh->nbVertex, 0);
  ASSERT_EQ(mesh->nbPolygon, 3);
  ASSERT_EQ(mesh->nbAttribute, 3);
  EXPECT_EQ(mesh->polygons[2].index, 2);
  const ScAttribute &a = mesh->attributes[1];
  EXPECT_EQ(a.index, 1);
  const int32_t words[16] = {5, 0, 1, 0, 0, 0, 1, 1, 0, 3, 0, 2, 2, 2, -1, 0};
  for (int i = 0; i < 16; i++) EXPECT_EQ(a.words[i], words[i]) << i;
  EXPECT_FLOAT_EQ(a.diffuse[0], 0.8f);
  EXPECT_FLOAT_EQ(a.diffuse[2], 0.8f);
  EXPECT_EQ(a.diffuse[3], 0.0f);

  ScMesh *withVertices = ScMeshAlloc(2, 0, 0);
  EXPECT_EQ(withVertices->polygons, nullptr);
  const ScVertex &v = withVertices->vertices[1];
  EXPECT_EQ(v.index, 1);
  const uint8_t grey[4] = {178, 178, 178, 255}, black[4] = {0, 0, 0, 255};
  for (int i = 0; i < 4; i++) {
    EXPECT_EQ(v.diffuse[i], grey[i]);
    EXPECT_EQ(v.specular[i], black[i]);
  }
  ScPolyNode *corners = ScPolyNodeAlloc(4);
  for (int i = 0; i < 4; i++) EXPECT_EQ(corners[3].color[i], grey[i]);
  EXPECT_EQ(corners[3].u, 0.0f);
  EXPECT_EQ(corners[3].v, 0.0f);
  EXPECT_EQ(ScPolyNodeAlloc(0), nullptr);
}

TEST_F(RecordsTest, ListsAndReleaseLeaveNothingTracked) {
  long before = ScMallocGetStats().blocks;
  ScObject *object = ScObjectAlloc("scene", 7);
  ScModel *root = ScModelAlloc("root");
  ScModel *child = ScModelAlloc("child");
  object->root = root;
  root->child = child;
  child->parent = root;
  // A chain of siblings under the root.
  ScModel *previous = child;
  for (int i = 0; i < 50; i++) {
    ScModel *next = ScModelAlloc("sib");
    next->parent = root;
    previous->sibling = next;
    previous = next;
  }
  root->hasMesh = 1;
  root->mesh = ScMeshAlloc(3, 1, 1);
  root->mesh->polygons[0].corners = ScPolyNodeAlloc(3);
  root->mesh->polygons[0].nbCorner = 3;
  root->materials = ScMaterialsAlloc(2);
  root->nbMaterial = 2;
  EXPECT_EQ(root->materials->bank, -1);
  ASSERT_NE(root->materials->next, nullptr);
  EXPECT_EQ(root->materials->next->next, nullptr);
  root->materials->name = ScVStrdup("DS_wall");
  root->materials->textures = ScTextureAlloc(1);
  root->materials->textures->picname = ScVStrdup("wall.bmp");
  root->materials->nbTexture = 1;
  // A node without geometry keeps whatever its mesh reference holds.
  child->hasMesh = 0;
  ScMesh *unowned = ScMeshAlloc(1, 0, 0);
  child->mesh = unowned;
  ScObjectFree(object);
  // Only the unowned mesh and its vertex array are still tracked.
  ASSERT_EQ(ScMallocGetStats().blocks, before + 2);
  void *left[2] = {ScMallocBlockAt(before), ScMallocBlockAt(before + 1)};
  EXPECT_TRUE(left[0] == unowned || left[1] == unowned);
  EXPECT_TRUE(left[0] == unowned->vertices || left[1] == unowned->vertices);
}

}  // namespace
