// Settings in a text file: what was committed is read again, and nothing else is taken for it.

#include "support/Test.h"
#include "sysinfo/store/si_TextFile.h"

namespace services::sysinfo {
namespace {

const Rows rows = {{{"A", "Serial"}, "tab\there"},
                   {{"system", "Text"}, "back\\slash, \\t,\nline"},
                   {{"user name", "Key\\"}, ""}};

TEST(TextFiles, HoldWhatWasCommittedLastWhereOneCouldBeWritten) {
  const test::Temporary directory;
  TextFile file(directory.path("s"));
  EXPECT_EQ(file.state(), TextFile::State::Empty);
  for (const Rows& next : {rows, Rows{}, rows}) {
    EXPECT_TRUE(file.commit(next)) << file.error();
    const TextFile again(directory.path("s"));
    EXPECT_EQ(again.state(), TextFile::State::Good) << again.error();
    EXPECT_EQ(again.rows(), next);
  }
  EXPECT_TRUE(file.copyTo(directory.path("copy")));
  EXPECT_EQ(TextFile(directory.path("copy")).rows(), rows);
  std::filesystem::create_directory(directory.path("s.new"));  // where the next content would be
  EXPECT_FALSE(file.commit({}));
  EXPECT_NE(file.error(), "");
  EXPECT_EQ(file.rows(), rows);
  EXPECT_EQ(TextFile(directory.path("s")).rows(), rows);
}

TEST(TextFiles, AChangedByteOrAMissingEndIsFound) {
  const test::Temporary directory;
  TextFile(directory.path("s")).commit(rows);
  const std::string whole = directory.read("s");
  for (std::size_t i = 0; i < whole.size(); ++i) {
    std::string changed = whole;
    changed[i] ^= 1;
    for (const std::string& content : {changed, whole.substr(0, i), whole + whole[i]}) {
      directory.write("s", content);
      const TextFile file(directory.path("s"));
      EXPECT_EQ(file.state() == TextFile::State::Empty, content.empty()) << content;
      EXPECT_NE(file.state(), TextFile::State::Good) << content;
      EXPECT_TRUE(file.rows().empty());
    }
  }
  directory.write("s", "settings 2\nanything");
  EXPECT_EQ(TextFile(directory.path("s")).state(), TextFile::State::Newer);
  EXPECT_EQ(TextFile(directory.path("")).state(), TextFile::State::Failed) << "a directory";
}

}  // namespace
}  // namespace services::sysinfo
