// Scene records: the in-memory form of one model file. Every record and
// array is obtained from the tracked allocator, so all of them are plain,
// trivially constructible structs that start zero-filled.
#pragma once

#include <cstdint>

struct ScModel;
struct ScMesh;
struct ScTexture;

struct ScTexture {
  int32_t id;        // run-wide creation number
  char *picname;     // texture file name
  char *maskname;    // mask file name (null from the reader)
  int32_t word0;     // the reader sets 3
  int32_t width;     // filled by the texture conversion
  int32_t height;
  float scale[3];    // the reader sets 1.0 each
  int32_t alphaKind; // filled by the texture conversion
  ScTexture *next;
};

struct ScMaterials {
  int32_t id;         // run-wide creation number
  char *name;         // material name with its tag prefix
  int32_t kind;       // the reader sets 4
  int32_t words0[4];
  float specularPower;
  int32_t words1[2];
  ScTexture *textures;
  uint16_t nbTexture;
  int32_t bank;       // palette bank, -1 for none
  uint32_t attrflags;
  // Colours as floats red, green, blue, alpha (bytes / 255.0 from the file;
  // the Basic format has no ambient, so it stays 0).
  float diffuse[4];
  float ambient[4];
  float specular[4];
  ScMaterials *next;
  // Set by the material name tags: the per-material output word F (in the
  // write-info flag layout) and the evaluation bits E that the writers OR
  // into the object's EvalFlags.
  uint32_t outputFlags;
  uint32_t evalFlags;
  // Polygons of this material by corner count, set by the node list builder.
  int32_t nbPolyTriangle;
  int32_t nbPolyQuad;
  int32_t nbPolyLarge;
};

struct ScPolyNode {
  uint16_t vertex;    // index into the mesh's vertices
  float normal[3];
  float u, v;
  uint8_t color[4];   // B, G, R, A (178, 178, 178, 255 at creation)
};

struct ScAttribute {
  int32_t index;
  // Drawing attribute words, created as 5,0,1, 0,0,0, 1,1,0,3,0, 2,2,2, -1, 0.
  int32_t words[16];
  float diffuse[4];   // red, green, blue 0.8 at creation; alpha 0
  int32_t tail[3];
};

struct ScPolygon {
  int32_t index;
  uint16_t nbCorner;
  ScPolyNode *corners;
  float normal[3];
  ScAttribute *attribute;   // not owned
  int32_t materialId;
  uint16_t half[3];         // working halfwords of the processing
  int32_t word[3];          // working words of the processing
  ScPolygon *listNext;      // material group list
  ScPolygon *stripNext;
  ScPolygon *stripPrev;
  uint16_t stripState;
  uint16_t stripLength;
};

struct ScVertex {
  int32_t index;
  float pos[3];
  float normal[3];
  float vec0[3];            // working vector of the geometry routines
  uint8_t diffuse[4];       // B, G, R, A (178, 178, 178, 255)
  uint8_t specular[4];      // B, G, R, A (0, 0, 0, 255)
  uint32_t userFlags;
  uint32_t libraryFlags;
  float vec1[3];            // working vectors of the geometry routines
  float vec2[3];
  // Material emission normals: corners using the vertex under a marked
  // material, and the material number of the last such polygon.
  int32_t useCount;
  int32_t useMaterial;
};

struct ScMesh {
  ScPolygon *polygons;
  int32_t nbPolygon;
  ScAttribute *attributes;
  int32_t nbAttribute;
  ScVertex *vertices;
  int32_t nbVertex;
  int32_t work0[5];         // working words of the processing
  int32_t nbTriangle;
  int32_t nbQuad;
  int32_t work1[5];
};

struct ScModel {
  int32_t id;               // creation number
  char *name;               // '.' replaced by '_'
  char *instroot;           // instance-root name (owned), null from the reader
  int32_t hasMesh;
  ScMesh *mesh;
  uint32_t EvalFlags;
  float matrixA[12];
  float matrixB[12];
  float OPosition[3];
  float OAngle[3];
  float OScale[3];
  ScModel *parent;          // not owned
  ScModel *child;
  ScModel *sibling;
  ScMaterials *materials;
  uint16_t nbMaterial;
  ScTexture *textures;
  uint16_t nbTexture;
  void *motion;             // always null
  int32_t listIndex;        // position in the flattened node list
};

struct ScObject {
  char *name;
  ScModel *root;
  int32_t modelCount;
  int32_t kind;             // 7 Basic file, 8 Basic file with EvalFlags 0x20
  uint32_t infoFlags;
  void *camera;
  void *light;
};

// Creation: each returns null for an empty name or a zero count.
ScObject *ScObjectAlloc(const char *name, int kind);
ScModel *ScModelAlloc(const char *name);
ScMesh *ScMeshAlloc(int vertexCount, int polygonCount, int attributeCount);
ScPolyNode *ScPolyNodeAlloc(int cornerCount);
ScMaterials *ScMaterialsAlloc(int count);
ScTexture *ScTextureAlloc(int count);

// Next values of the run-wide creation counters of models, materials and
// textures (each starts at 0).
int32_t ScNextModelId();
int32_t ScNextMaterialId();
int32_t ScNextTextureId();
void ScResetCreationCounters();

ScMesh *ScGetMesh(ScModel *model);

// Release; each accepts null.
void ScObjectFree(ScObject *object);
void ScModelTreeFree(ScModel *model);  // mesh, child subtree, sibling subtree, node
void ScModelFree(ScModel *model);
void ScMeshFree(ScMesh *mesh);
void ScPolyNodeFree(ScPolyNode *corners);
void ScMaterialsFree(ScMaterials *list);
void ScTextureFree(ScTexture *list);
