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
  std::vector<std::pair<uint32_t, std::string>> nodes;
  void insert(uint32_t id, const std::string& name) {
    size_t at = 0;
    while (at < nodes.size() && nodes[at].first <= id) ++at;
    nodes.insert(nodes.begin() + static_cast<long>(at), {id, name});
  }
  const std::string* find(uint32_t id) const {
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
      const std::string name = "t" + std::to_string(i);
      track_list_insert(list, id, ("/m/" + name).c_str(), name.c_str());
      reference.insert(id, name);
    }
    size_t at = 0;
    for (const TrackNode* node = list.head; node != nullptr; node = node->next, ++at) {
      ASSERT_LT(at, reference.nodes.size());
      EXPECT_EQ(node->id, reference.nodes[at].first) << shape << " at " << at;
      EXPECT_EQ(node->name, reference.nodes[at].second) << shape << " at " << at;
    }
    EXPECT_EQ(at, reference.nodes.size()) << shape;
    for (uint32_t id = 0; id < 2100; ++id) {
      const TrackNode* found = track_list_find(list, id);
      const std::string* expected = reference.find(id);
      ASSERT_EQ(found != nullptr, expected != nullptr) << shape << " id " << id;
      if (found) {
        EXPECT_EQ(found->name, *expected) << shape << " id " << id;
      }
    }
    track_list_free(list);
  }
}

}  // namespace
}  // namespace importer
