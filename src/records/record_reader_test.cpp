#include "records/record_reader.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/log.h"
#include "base/memory.h"
#include "records/setters.h"
#include "testing/corpus.hpp"
#include "testing/memory_fail.hpp"
#include "testing/record_describe.hpp"
#include "testing/temp_dir.hpp"

namespace {

using testing_support::ReadFile;
using testing_support::TempDir;

db_object* Read(const std::string& text) {
  return upnp_database_object_create_from_data(text.data(), static_cast<uint32_t>(text.size()));
}

class RecordReader : public ::testing::Test {
 protected:
  void SetUp() override {
    // Measured before the log opens: its file handle is tracked memory too.
    before_ = upnp_mem_used();
    upnp_log_init();
    upnp_log_open((dir_ / "log.txt").c_str());
  }
  void TearDown() override {
    upnp_log_open(nullptr);
    EXPECT_EQ(upnp_mem_used(), before_);
  }
  std::string Log() const { return ReadFile(dir_ / "log.txt"); }

  TempDir dir_;
  int64_t before_ = 0;
};

TEST_F(RecordReader, Cases) {
  const struct {
    const char* name;
    std::string text;
    const char* expected;
  } cases[] = {
      {"lead only", ">>>>\n", "null"},
      {"end marker stops later fields", ">>>>\n14004Song\n0000016003abc\n", "20=Song "},
      {"empty value dropped", ">>>>\n14000\n16003abc\n", "22=abc "},
      {"colon separators", "14001a:16001b:", "20=a 22=b "},
      {"lower-case hex", ">>>>\n1c001x\n", "28=x "},
      {"bookmark skipped", ">>>>\n68003abc\n14001t\n", "20=t "},
      {"child list", ">>>>\n57001\n5700C3C006/a.mp3:\n14001t\n", "20=t 87=[60=/a.mp3 ;] "},
      {"empty child", ">>>>\n57002\n57000\n570074C001x:\n", "87=[null;76=x ;] "},
      {"last field without separator", ">>>>\n14004Song", "20=Song "},
      {"short tail ignored", ">>>>\n14004Song\n1400", "20=Song "},
      {"id FF is no property", ">>>>\nFF001x\n14001t\n", "20=t "},
  };
  for (const auto& c : cases) {
    db_object* record = Read(c.text);
    EXPECT_EQ(DescribeRecord(record), c.expected) << c.name;
    db_object_free(record);
  }
}

TEST_F(RecordReader, OverrunsAreCorruptionNotReads) {
  const struct {
    const char* name;
    std::string text;
    const char* expected;
    const char* log;
  } cases[] = {
      {"value past the end", ">>>>\n14009Song\n", "null", "database corrupted, value size 9"},
      {"child past the end", ">>>>\n14001a\n57001\n57010x\n", "20=a ", "database corrupted, value size 16"},
      {"missing children", ">>>>\n14001a\n57003\n570074C001x:\n", "20=a ", "database corrupted, value size 3"},
      {"list header at the end", ">>>>\n14001a\n57001", "20=a ", "database corrupted, value size 1"},
  };
  for (const auto& c : cases) {
    const std::string before = Log();
    // Reading from a copy of exactly the text's size lets the sanitizer catch any overread.
    std::vector<char> exact(c.text.begin(), c.text.end());
    db_object* record = upnp_database_object_create_from_data(exact.data(), static_cast<uint32_t>(exact.size()));
    EXPECT_EQ(DescribeRecord(record), c.expected) << c.name;
    EXPECT_NE(Log().find(c.log, before.size()), std::string::npos) << c.name << "\n" << Log();
    db_object_free(record);
  }
}

TEST_F(RecordReader, ListsOnTheirOwn) {
  db_object_list* list = db_object_list_from_string("57002\n5700C3C006/a.mp3:\n57000\n");
  ASSERT_NE(list, nullptr);
  ASSERT_EQ(list->count, 2);
  EXPECT_EQ(DescribeRecord(db_object_list_children(list)[0]), "60=/a.mp3 ");
  EXPECT_EQ(db_object_list_children(list)[1], nullptr);
  db_object_list_free(list);
  EXPECT_EQ(db_object_list_from_string("5700"), nullptr);
  uint32_t consumed = 99;
  const std::string children = "570074C001x:\n";
  list = db_object_list_create_from_data(children.data(), static_cast<uint32_t>(children.size()), 1, &consumed);
  EXPECT_EQ(consumed, children.size());
  db_object_list_free(list);
  EXPECT_EQ(upnp_database_object_create_from_data("14001a", 0), nullptr);
}

TEST_F(RecordReader, OutOfMemoryLeavesNothingBehind) {
  const std::string text = ">>>>\n03020object.item.audioItem.musicTrack\n14004Song\n57002\n5700C3C006/a.mp3:\n57000\n";
  ForEachAllocationFailure([&] { db_object_free(Read(text)); });
}

TEST_F(RecordReader, ReplaysFuzzCorpus) {
  const auto inputs = testing_support::CorpusInputs("record_reader");
  EXPECT_GT(inputs.size(), 5u);
  for (const auto& [name, text] : inputs) {
    std::vector<char> exact(text.begin(), text.end());
    db_object_free(upnp_database_object_create_from_data(exact.data(), static_cast<uint32_t>(exact.size())));
  }
}

}  // namespace
