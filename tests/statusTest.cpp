#include "support.h"

namespace {

Lines linesOf(const std::string& text) {
  Lines lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

// Every record on a line: NAME: TEXT WORKING REPOSITORY, then m, o and e for the flags.
std::string describe(const FileStatusMap& map) {
  std::string text;
  for (const auto& [name, record] : map) {
    text += name + ": " + record.statusText + ' ' + record.workingRevision + ' ' +
            record.repositoryRevision + (record.modified ? " m" : "") +
            (record.outOfDate ? " o" : "") + (record.edited ? " e" : "") + '\n';
  }
  return text;
}

TEST(StatusParser, ReadsBlocks) {
  const std::string revisions =
      "\n\n   Working revision:\t1.4\tMon Mar  3\n   Repository revision:\t1.5\t/r/x,v\n\n";
  const std::string example = statusBlock("main.c           ", "Up-to-date", "1.4", "1.4") +
                              statusBlock("util.c           ", "Needs Merge", "1.2", "1.3") +
                              statusBlock("plan.txt         ", "Locally Added");
  const std::pair<std::string, std::string> cases[] = {
      {"", ""},
      {example, "main.c: Up-to-date 1.4 1.4\nutil.c: Needs Merge 1.2 1.3 m o\n"},
      // Every status, and some that leave no record.
      {statusBlock("a", "Locally Modified"), "a: Locally Modified 1.1 1.1 m\n"},
      {statusBlock("a", "File had conflicts on merge"),
       "a: File had conflicts on merge 1.1 1.1 m\n"},
      {statusBlock("a", "Needs Checkout"), "a: Needs Checkout 1.1 1.1 o\n"},
      {statusBlock("a", "Needs Patch"), "a: Needs Patch 1.1 1.1 o\n"},
      {statusBlock("a", "Unknown") + statusBlock("b", "Locally Removed"), ""},
      {statusBlock("a", "up-to-date"), ""},
      // The first of the table that occurs wins, and nothing else of the line is kept.
      {statusBlock("a", "Needs Patch, not Up-to-date!"), "a: Up-to-date 1.1 1.1\n"},
      // Names: verbatim, blanks and all, less what pads them.
      {statusBlock("no file gone.c\t", "Needs Checkout"),
       "no file gone.c: Needs Checkout 1.1 1.1 o\n"},
      {statusBlock(" two  words \t ", "Up-to-date"), " two  words: Up-to-date 1.1 1.1\n"},
      {"noise File: a.c\tStatus: Needs Patch" + revisions, "a.c: Needs Patch 1.4 1.5 o\n"},
      {"File:x\tStatus: Up-to-date" + revisions, ": Up-to-date 1.4 1.5\n"},
      {"File:Status: Up-to-date" + revisions, ": Up-to-date 1.4 1.5\n"},
      {"File: \t \tStatus: Up-to-date" + revisions, ": Up-to-date 1.4 1.5\n"},
      {"File: a Status: b\tStatus: Up-to-date" + revisions, "a: Up-to-date 1.4 1.5\n"},
      // No status there, or not behind the label.
      {"File: a.c\tStatus:" + revisions, ""},
      {"File: b.c\tStatus:Up-to-date" + revisions, ""},
      {"Status: Up-to-date File: a.c" + revisions, ""},
      {"file: a.c\tstatus: Up-to-date" + revisions, ""},
      // Four lines below the first are not looked at; the fifth is.
      {"File: a\tStatus: Up-to-date\nFile: b\tStatus: Up-to-date\n\n\nFile: c\tStatus: Up-to-date\n"
       "File: d\tStatus: Needs Patch" +
           revisions,
       "a: Up-to-date  \nd: Needs Patch 1.4 1.5 o\n"},
      // A block that is cut off ends it all; one without revisions takes those before.
      {"File: a\tStatus: Up-to-date\n\nWorking revision:\t1.1\n", ""},
      {"File: a\tStatus: Up-to-date\nFile: b\tStatus: Up-to-date\n\n\n", "a: Up-to-date  \n"},
      {statusBlock("a", "Up-to-date", "1.7", "1.8") + "File: b\tStatus: Up-to-date\n\n-\n-\n",
       "a: Up-to-date 1.7 1.8\nb: Up-to-date 1.7 1.8\n"},
      {"File: a\tStatus: Up-to-date\n\nWorking revision:\t\nRepository revision:\t1.2\v3\n",
       "a: Up-to-date  1.2\n"},
      {"File: a\tStatus: Up-to-date\n\nWorking revision: 1.1\nRepository revision:\t\t1.2\n",
       "a: Up-to-date  \n"},
      {statusBlock("a", "Up-to-date") + statusBlock("a", "Needs Patch"),
       "a: Needs Patch 1.1 1.1 o\n"},
  };
  for (const auto& [lines, records] : cases) {
    FileStatusMap map;
    EXPECT_TRUE(CVSInterface().parseStatusOutput(&map, linesOf(lines)));
    EXPECT_EQ(describe(map), records) << lines;
  }
}

TEST(EditorsParser, MarksTheFilesItKnows) {
  const std::string rest = "\tdev1\tMon Mar  3 10:05:00 2003 GMT\tws7\t/home/dev1/proj";
  const std::pair<std::string, const char*> cases[] = {
      {"util.c" + rest, "util.c"},
      {"util.c\t" + rest, "util.c"},
      {"util.c" + rest + "\tmore", "util.c"},
      {"\tutil.c\ta\tb\tc", ""},
      {"\tutil.c\ta\tb\tc\td", "util.c"},
      {"util.c\ta\tb\tc\t", ""},
      {"readme" + rest, ""},
      {"", ""},
      {" util.c" + rest, ""},
  };
  for (const auto& [line, marked] : cases) {
    FileStatusMap map = {{"main.c", {}}, {"util.c", {}}};
    CVSInterface().parseEditorsOutput("/anywhere", &map, {line});
    ASSERT_EQ(map.size(), 2u) << line;
    EXPECT_EQ(map["util.c"].edited, *marked != '\0') << line;
    EXPECT_FALSE(map["main.c"].edited) << line;
  }
}

using StatusCache = ProviderTest;

TEST_F(StatusCache, ReadsADirectoryOnce) {
  set("CVSEditSupported", "Yes");
  reply("status", 0,
        statusBlock("a.c", "Needs Merge", "1.2", "1.3") + statusBlock("b.c", "Up-to-date"));
  reply("editors", 0, "a.c\tme\tnow\there\t/w\n");
  bool controlled = false, edited = false, modified = false, outOfDate = false;
  const char *text = nullptr, *working = nullptr, *repository = nullptr;
  EXPECT_TRUE(provider.status("src/a.c", controlled, edited, modified, outOfDate, text, working,
                              repository));
  EXPECT_TRUE(controlled && edited && modified && outOfDate);
  EXPECT_STREQ(text, "Needs Merge");
  EXPECT_STREQ(working, "1.2");
  EXPECT_STREQ(repository, "1.3");
  EXPECT_TRUE(known("src/b.c"));
  EXPECT_EQ(takeCalls(), (Lines{"./src$ status|-l", "./src$ editors|-l"}));

  EXPECT_TRUE(known("/b.c"));  // not the same entry as b.c
  EXPECT_TRUE(known("b.c"));
  EXPECT_EQ(takeCalls(), (Lines{".$ status|-l", ".$ editors|-l", ".$ status|-l", ".$ editors|-l"}));
  EXPECT_TRUE(provider.refresh());
  EXPECT_TRUE(known("src/b.c"));
  EXPECT_EQ(takeCalls().size(), 2u);
}

TEST_F(StatusCache, AsksTheRepositoryForWhatItHasNoRecordOf) {
  const std::tuple<int, const char*, bool> cases[] = {{0, "/gone.c/1.1///\n", true},
                                                      {0, "warning\n/gone.c/1.1///\n", true},
                                                      {0, "D/gone.c////\n", false},
                                                      {0, " /gone.c/1.1///\n", false},
                                                      {0, "", false},
                                                      {1, "/gone.c/1.1///\n", false}};
  reply("status", 0, statusBlock("no file gone.c", "Needs Checkout"));
  for (const auto& [exit, listing, isKnown] : cases) {
    reply("rls", exit, listing);
    bool controlled = true, edited = true, modified = false, outOfDate = false;
    const char *text = "kept", *working = "kept", *repository = "kept";
    EXPECT_EQ(provider.status("src/gone.c", controlled, edited, modified, outOfDate, text, working,
                              repository),
              isKnown);
    EXPECT_TRUE(controlled == isKnown && edited != isKnown) << listing;
    EXPECT_EQ(modified && outOfDate, isKnown) << listing;
    EXPECT_EQ(std::string(text) + working + repository, isKnown ? "missing" : "keptkeptkept");
    EXPECT_EQ(takeCalls().back(), "host$ -q|rls|-e|lib/proj/src/gone.c");
  }
}

TEST_F(StatusCache, TriesADirectoryAgainThatCouldNotBeRead) {
  reply("status", 1, statusBlock("a.c", "Up-to-date"));
  const Lines both = {"./src$ status|-l", "host$ -q|rls|-e|lib/proj/src/a.c"};
  EXPECT_FALSE(known("src/a.c"));
  EXPECT_EQ(takeCalls(), both);
  EXPECT_FALSE(known("src/a.c"));
  EXPECT_EQ(takeCalls(), both);
  EXPECT_FALSE(known("no/such/directory/a.c"));
  EXPECT_EQ(takeCalls(), Lines{"host$ -q|rls|-e|lib/proj/no/such/directory/a.c"});

  // Editors that cannot be read leave the directory cached.
  set("CVSEditSupported", "Yes");
  reply("status", 0, statusBlock("a.c", "Up-to-date"));
  reply("editors", 1, "a.c\tme\tnow\there\t/w\n");
  EXPECT_TRUE(known("src/a.c") && known("src/a.c"));
  EXPECT_FALSE(provider.getFileStatus("src/a.c")->edited);
  EXPECT_EQ(takeCalls(), (Lines{"./src$ status|-l", "./src$ editors|-l"}));
}

TEST_F(StatusCache, ReadsOneSavedFileAgain) {
  EXPECT_TRUE(provider.saved("src/a.c"));
  EXPECT_EQ(takeCalls(), Lines{});  // its directory is read whole when asked for

  set("CVSEditSupported", "Yes");
  reply("status", 0, statusBlock("a.c", "Up-to-date"));
  reply("editors", 0, "a.c\tme\tnow\there\t/w\n");
  ASSERT_TRUE(known("src/a.c"));
  takeCalls();
  reply("status:a.c", 0, statusBlock("a.c", "Locally Modified"));
  reply("status:new.c", 0, statusBlock("new.c", "Up-to-date"));
  EXPECT_TRUE(provider.saved("src/a.c") && provider.saved("src/new.c"));
  EXPECT_EQ(takeCalls(), (Lines{"./src$ status|-l|a.c", "./src$ editors|a.c",
                                "./src$ status|-l|new.c", "./src$ editors|new.c"}));
  EXPECT_TRUE(provider.getFileStatus("src/a.c")->modified);
  EXPECT_TRUE(provider.getFileStatus("src/a.c")->edited);
  EXPECT_NE(provider.getFileStatus("src/new.c"), nullptr);

  // What cannot be read, or has no status that counts, stays as it was; without editors the mark
  // of an edit goes.
  const std::tuple<int, int, const char*, const char*, const char*> cases[] = {
      {1, 0, "Needs Patch", "Yes", "Locally Modified e"},
      {0, 0, "Locally Removed", "Yes", "Locally Modified e"},
      {0, 1, "Up-to-date", "Yes", "Up-to-date"},
      {0, 0, "Up-to-date", "Yes", "Up-to-date e"},
      {0, 0, "Needs Patch", "No", "Needs Patch"}};
  for (const auto& [status, editors, text, edits, wanted] : cases) {
    set("CVSEditSupported", edits);
    reply("status:a.c", status, statusBlock("a.c", text));
    reply("editors:a.c", editors, "a.c\tme\tnow\there\t/w\n");
    EXPECT_TRUE(provider.saved("src/a.c"));
    const CVSFileStatus& record = *provider.getFileStatus("src/a.c");
    EXPECT_EQ(record.statusText + (record.edited ? " e" : ""), wanted);
  }
}

}  // namespace
