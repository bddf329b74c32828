// The texts that the host reads: lines of a script, and the client's administrative files.
#include <gtest/gtest.h>

#include <sstream>

#include "words.h"
#include "workingCopy.h"

namespace {

TEST(Words, AreSplitAsAShellWould) {
  const std::pair<const char*, std::vector<const char*>> cases[] = {
      {"", {}},
      {" \t\r# all comment", {}},
      {"a  b\tc\r", {"a", "b", "c"}},
      {"a#b #c", {"a#b"}},
      {"'a b'\"c d\"e", {"a bc de"}},
      {R"('\n' "\n" \n \' "\"" '' "")", {"\\n", "\n", "\n", "'", "\"", "", ""}},
      {R"("a'b" 'a"b' null)", {"a'b", "a\"b", "null"}}};
  for (const auto& [line, wanted] : cases) {
    const auto words = splitWords(line);
    ASSERT_TRUE(words.has_value()) << line;
    ASSERT_EQ(words->size(), wanted.size()) << line;
    for (std::size_t i = 0; i < wanted.size(); ++i) EXPECT_EQ((*words)[i].text, wanted[i]) << line;
  }
  for (const char* line : {"'", "\"a", "a\\", "'a\\'b'"}) EXPECT_FALSE(splitWords(line)) << line;
  EXPECT_FALSE(splitWords("null")->front().quoted);
  EXPECT_TRUE(splitWords("''null")->front().quoted);
}

TEST(Words, ComeBackAsTheyWereQuoted) {
  EXPECT_EQ(quoteWord(nullptr), "null");
  for (const std::string text : {"", "null", "a b", "\n\r\t", "\"\\'", "# \\n", "\a\x7f\xff"}) {
    const std::string quoted = quoteWord(text.c_str());
    const auto words = splitWords(quoted);
    ASSERT_TRUE(words.has_value() && words->size() == 1) << quoted;
    EXPECT_EQ(words->front().text, text);
    EXPECT_EQ(quoted.find_first_of("\n\r\t"), quoted.npos);
  }
}

TEST(Entries, AreReadFromBothFiles) {
  const std::tuple<const char*, const char*, const char*, bool> cases[] = {
      {"", "", "", false},
      {"/a/1.1/time//\nD/d////\n", "", "a 1.1 time ;d/ ;", true},
      {"/a/1.1/x/-kb/Ttag\nD\n", "", "a 1.1 x -kb;", true},
      {"/a/1.1/x//\n/b/0/x//\n", "A /c/-1.2/x//\nR /a/1.1/x//\nA D/e////\n",
       "b 0 x ;c -1.2 x ;e/ ;", true},
      {"/a/1.1/x//\n", "R /a/1.1/x//\nA /a/1.2/x//\nX /b/1/x//\n/c/1/x//\n", "a 1.2 x ;", false},
      {"/a/1.1/x//\n/a/1.2/y//\n", "", "a 1.2 y ;", false},
      {"//1.1/x//\n/./1/x//\nD/..////\nD/////\n/a\nD/d\njunk\n\n/b/", "", "", true}};
  for (const auto& [main, log, wanted, nameDirectories] : cases) {
    std::istringstream mainLines(main), logLines(log);
    const Entries entries = parseEntries(mainLines, logLines);
    std::string found;
    for (const auto& [name, entry] : entries.byName) {
      EXPECT_TRUE(entry.listed);
      found += name + (entry.directory ? "/" : ' ' + entry.revision + ' ' + entry.timestamp) + ' ' +
               entry.options + ';';
    }
    EXPECT_EQ(found, wanted) << main << log;
    EXPECT_EQ(entries.nameDirectories, nameDirectories) << main << log;
  }
}

}  // namespace
