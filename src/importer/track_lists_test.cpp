#include "importer/track_lists.hpp"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>


namespace importer {
namespace {

// The plain sorted list the track list stands for: each node goes in front of the first
// node with a larger id, and a lookup walks until a larger id.
struct ReferenceList {
  std::vector<std::pair<uint32_t, uint64_t>> nodes;
  void insert(uint32_t id, uint64_t name) {
    size_t at = 0;
    while (at < nodes.size() && nodes[at].first <= id) ++at;
    nodes.insert(nodes.begin() + static_cast<long>(at), {id, name});
  }
  const uint64_t* find(uint32_t id) const {
    for (const auto& node : nodes) {
      if (node.first > id) break;
      if (node.first == id) return &node.second;
    }
    return nullptr;
  }
};

TEST(TrackList, OrderAndLookupMatchThePlainList) {
  std::mt19937 random(7);
  for (const char* shape : {"ascending", "shuffled", "duplicates"}) {
    TrackList list{};
    ReferenceList reference;
    for (int i = 0; i < 500; ++i) {
      uint32_t id = static_cast<uint32_t>(i * 2);
      if (std::string(shape) == "shuffled") id = random() % 2000;
      if (std::string(shape) == "duplicates") id = random() % 40;
      const uint64_t location = static_cast<uint64_t>(i) * 7;
      track_list_insert(list, id, location);
      reference.insert(id, location);
      if (i == 250) (void)track_list_find(list, 0);  // inserts after a find are sorted in too
    }
    for (uint32_t id = 0; id < 2100; ++id) {
      const TrackEntry* found = track_list_find(list, id);
      const uint64_t* expected = reference.find(id);
      ASSERT_EQ(found != nullptr, expected != nullptr) << shape << " id " << id;
      if (found) {
        EXPECT_EQ(found->location, *expected) << shape << " id " << id;
      }
    }
    ASSERT_EQ(list.count, reference.nodes.size()) << shape;
    for (size_t at = 0; at < list.count; ++at) {
      EXPECT_EQ(list.entries[at].id, reference.nodes[at].first) << shape << " at " << at;
      EXPECT_EQ(list.entries[at].location, reference.nodes[at].second) << shape << " at " << at;
    }
    track_list_free(list);
  }
}

}  // namespace
}  // namespace importer
