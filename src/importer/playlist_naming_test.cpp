#include "importer/playlist_naming.hpp"

#include <gtest/gtest.h>

#include <string>

namespace importer {
namespace {

TEST(PlaylistNaming, MediaKindLetter) {
  const struct {
    const char* location;
    char kind;
  } cases[] = {
      {"/m/a.mp3", 'M'},       {"/m/clip.MOV", 'V'},    {"/m/clip.m2ts", 'V'},
      {"a.ts", 'V'},           {"/m/photo.JPEG", 'P'},  {"/m/cover.png", 'P'},
      // Listed, but five characters long: kept unmatchable on purpose.
      {"/m/clip.mpeg4", 'M'},  {"/m/clip.mpeg2", 'M'},
      {"/m/noextension", 'M'}, {"", 'M'},               {"/m/trailing.", 'M'},   {nullptr, 'M'},
      // The dot belongs to a folder name.
      {"/m.mov/file", 'M'},    {"/v.ts/", 'M'},
      // A last part shorter than three characters gives way to the first dot
      // among the last six characters: "ts.x" and "mov." are not listed.
      {"/m/ab.ts.x", 'M'},     {"/m/odd.mov.", 'M'},    {"/m/x.y.mp4.z", 'M'},
  };
  for (const auto& c : cases) EXPECT_EQ(media_kind_letter(c.location), c.kind) << (c.location ? c.location : "null");
}

TEST(PlaylistNaming, FileBaseSanitisesAndAddsKind) {
  const struct {
    std::string name;
    char kind;
    std::string base;
  } cases[] = {
      {"Old: 80s/Rock (iTunes)", 'V', "Old__80s_Rock_(iTunes)##V"},
      {"a\\b+c*d<e>f|g@h$i\"j'k&l?m~n", 'M', "a_b_c_d_e_f_g_h_i_j_k_l_m_n##M"},
      {"Caf\xc3\xa9 #1", 'P', "Caf\xc3\xa9_#1##P"},
      {"", 'M', "##M"},
      {"a\x01" "b\x1f\x7f", 'M', "a_b__##M"},
      {std::string(223, 'a'), 'V', std::string(223, 'a') + "##V"},  // the longest that fits as it is
  };
  for (const auto& c : cases) {
    char base[kWplBaseSize];
    wpl_file_base(c.name.c_str(), c.kind, base);
    EXPECT_EQ(base, c.base) << c.name;
  }
}

// Too long for a file name: cut at a character boundary, a hash of the whole
// name before the kind, so names that start alike stay apart.
TEST(PlaylistNaming, LongFileBaseIsCutWholeCharactersAndHashed) {
  const std::string japanese = "\xe6\x97\xa5";  // three bytes
  const struct {
    std::string name;
    size_t kept;  // bytes of the name before the hash
  } cases[] = {
      {std::string(233, 'a'), 223},  // one byte too many
      {"xx" + [&] { std::string s; for (int i = 0; i < 80; ++i) s += japanese; return s; }(), 221},
  };
  for (const auto& c : cases) {
    char base[kWplBaseSize];
    char other[kWplBaseSize];
    wpl_file_base(c.name, 'M', base);
    wpl_file_base(c.name + "!", 'M', other);
    const std::string text = base;
    EXPECT_EQ(text.size(), c.kept + kNameHashSize + kKindSuffixSize) << c.kept;
    EXPECT_EQ(text.substr(0, c.kept), c.name.substr(0, c.kept)) << c.kept;
    EXPECT_EQ(text.substr(c.kept, 1) + text.substr(text.size() - 3), "_##M") << c.kept;
    EXPECT_NE(text, std::string(other)) << c.kept;
  }
}

// Builds a folder list from rows given in file order (the list reverses it).
struct Folder {
  const char* id;
  const char* parent;
  const char* name;
};
class FolderChain {
 public:
  explicit FolderChain(std::initializer_list<Folder> rows) {
    uint32_t playlist_id = 1;
    for (const Folder& row : rows) folder_list_push(head_, row.id, row.parent, row.name, playlist_id++);
  }
  ~FolderChain() { folder_list_free(head_); }
  // The name as the list walk gives it, empty for none; the index must give
  // the same.
  std::string full_name(const char* id) const {
    const auto text = [](const TrackedPtr<char>& name) { return std::string(name ? name.get() : ""); };
    FolderIndex index;
    folder_index_build(index, head_);
    const std::string walked = text(build_full_name(head_, id));
    const std::string indexed = text(build_full_name(head_, id, &index));
    folder_index_free(index);
    EXPECT_EQ(indexed, walked) << id;
    return walked;
  }

 private:
  FolderList* head_ = nullptr;
};

TEST(PlaylistNaming, FullNameThroughNestedFolders) {
  const FolderChain folders({
      {"F1", nullptr, "Old: 80s"},
      {"F2", "F1", "Live"},
      {"P1", "F2", "Rock"},
      {"P2", "F1", "Pop"},
      {"P3", nullptr, "Top"},
      {"U1", "F1", nullptr},         // a node without a name adds nothing
      {"P4", "U1", "Under"},
      {"S1", "S1", "Self"},          // its own parent
      {"A", "B", "Ann"},             // A and B are each other's parent
      {"B", "A", "Bob"},
      {"P5", "GONE", "Orphan"},      // parent never recorded
      {"D", nullptr, "Early"},       // the same id twice: the later line of
      {"D", nullptr, "Late"},        // the file sits first in the list
      {"E1", nullptr, ""},           // an empty name still takes its "/"
      {"E2", "E1", "Kid"},
      {"E3", "E2", ""},
  });
  const struct {
    const char* id;
    const char* full_name;
  } cases[] = {
      {"P1", "Old: 80s/Live/Rock (iTunes)"}, {"P2", "Old: 80s/Pop (iTunes)"}, {"P3", "Top (iTunes)"},
      {"P4", "Old: 80s/Under (iTunes)"},     {"S1", "Self (iTunes)"},         {"A", "Bob/Ann (iTunes)"},
      {"B", "Ann/Bob (iTunes)"},             {"P5", "Orphan (iTunes)"},       {"D", "Late (iTunes)"},
      {"NONE", ""},                          {"", ""},                        {"E3", "/Kid (iTunes)"},
      {"E1", ""},  // no name that is not empty: no file
  };
  for (const auto& c : cases) EXPECT_EQ(folders.full_name(c.id), c.full_name) << c.id;
}

// Past its limit a full name is cut at a character boundary, and " (iTunes)"
// still follows.
TEST(PlaylistNaming, FullNameIsCutWholeCharactersAtItsLimit) {
  const std::string folder(kFullNameMaxLength - 2, 'x');
  const struct {
    const char* name;
    const char* kept;  // of the name, behind the folder and "/"
  } cases[] = {{"a", "a"}, {"ab", "a"}, {"\xe6\x97\xa5", ""}};
  for (const auto& c : cases) {
    const FolderChain folders({{"F", nullptr, folder.c_str()}, {"P", "F", c.name}});
    EXPECT_EQ(folders.full_name("P"), folder + "/" + c.kept + " (iTunes)") << c.name;
  }
}

}  // namespace
}  // namespace importer
