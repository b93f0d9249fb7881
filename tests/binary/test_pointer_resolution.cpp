// Pointer resolution through the label index compared with the literal scan
// (every pointer against every label, the last of a name winning, the first
// unmatched pointer ending the resolution) on many random chunks.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "binary/binary_test_util.h"

namespace {

struct Named {
  std::string name;
  long position;  // from the base
};

// The literal resolution, on the payload bytes.
void LiteralResolve(std::string &payload, const std::vector<Named> &labels, const std::vector<Named> &pointers,
                    std::string &error) {
  if (labels.empty() || pointers.empty()) return;
  for (const Named &pointer : pointers) {
    bool matched = false;
    for (const Named &label : labels) {
      if (label.name != pointer.name) continue;
      matched = true;
      for (int i = 0; i < 4; i++)
        payload[static_cast<size_t>(pointer.position + i)] = static_cast<char>((label.position >> (8 * i)) & 0xFF);
    }
    if (!matched) {
      error = "\n##### Error : Can't chain " + pointer.name + "\n";
      return;
    }
  }
}

TEST(PointerResolution, IndexMatchesTheLiteralScan) {
  std::mt19937 random(12345);
  for (int round = 0; round < 300; round++) {
    // Few names, so that labels share names and pointers often find none.
    const int names = 1 + static_cast<int>(random() % 6);
    const int items = static_cast<int>(random() % 60);
    std::vector<Named> labels, pointers;
    std::vector<int> kinds;
    std::vector<std::string> itemNames;
    std::string payload;
    for (int i = 0; i < items; i++) {
      int kind = static_cast<int>(random() % 3);  // 0 label, 1 pointer, 2 value
      std::string name = "n" + std::to_string(random() % static_cast<unsigned>(names));
      if (kind == 1 && random() % 8 == 0) name = "NULL";
      kinds.push_back(kind);
      itemNames.push_back(name);
      long at = static_cast<long>(payload.size());
      if (kind == 0) labels.push_back({name, at});
      if (kind == 1 && name != "NULL") pointers.push_back({name, at});
      if (kind == 2) payload += vktest::Bytes({i, 0, 0, 0});
      if (kind == 1) payload += std::string(4, '\0');
    }
    std::string expectedError;
    LiteralResolve(payload, labels, pointers, expectedError);

    vktest::Capture errors(ErrorStream, SetErrorStream);
    std::string bytes = vktest::WriteBinary([&] {
      VKWriteBinChunkStart(kVKChunkVKCM);
      for (size_t i = 0; i < kinds.size(); i++) {
        if (kinds[i] == 0) VKPrintBin("T0", itemNames[i].c_str());
        if (kinds[i] == 1) VKPrintBin("P0", itemNames[i].c_str());
        if (kinds[i] == 2) VKPrintBin("i", static_cast<int>(i));
      }
      VKWriteBinChunkEnd();
    });
    ASSERT_GE(bytes.size(), 8 + payload.size()) << "round " << round;
    EXPECT_EQ(vktest::Hex(bytes.substr(8, payload.size())), vktest::Hex(payload)) << "round " << round;
    EXPECT_EQ(errors.Text(), expectedError) << "round " << round;
  }
}

}  // namespace
