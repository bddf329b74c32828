#include "support.h"

namespace {

using Operations = ProviderTest;
using Operation = std::function<bool(CVSInterface&)>;

TEST_F(Operations, StoresSettings) {
  const std::tuple<const char*, const char*, bool, const char*, std::optional<bool>> cases[] = {
      {"Environment/Source Code Control/CVSRoot", ":ext:a", true, ":ext:a", {}},
      {"Environment/Source Code Control/CVSRoot", nullptr, true, "", {}},
      {"Environment/Source Code Control/cvsroot", "b", false, root, {}},
      {"CVSRoot", "b", false, root, {}},
      {nullptr, "b", false, root, {}},
      {"Environment/Source Code Control/CVSEditSupported", "Yes", true, root, true},
      {"Environment/Source Code Control/CVSEditSupported", "yes", true, root, false},
      {"Environment/Source Code Control/CVSEditSupported", nullptr, true, root, false},
  };
  for (const auto& [key, value, stored, repository, edits] : cases) {
    for (const bool before : {false, true}) {
      set("CVSRoot", root);
      set("CVSEditSupported", before ? "Yes" : "No");
      EXPECT_EQ(provider.setOption(key, value), stored) << key;
      EXPECT_STREQ(provider.getRepositoryListEntry(), repository);
      EXPECT_EQ(provider.checkOutSupported(), edits.value_or(before)) << value;
    }
  }
}

TEST_F(Operations, KeepTheCacheUntilTheLogout) {
  reply("status", 0, statusBlock("x", "Up-to-date"));
  ASSERT_TRUE(known("src/x"));
  EXPECT_TRUE(provider.setRoots("/usr", "x") && provider.setRoots(scratch.path().c_str()));
  EXPECT_TRUE(known("src/x"));
  EXPECT_EQ(takeCalls(), (Lines{"./src$ status|-l", "/$ checkout|-l|-d|usr|x"}));
  EXPECT_TRUE(provider.logout() && known("src/x"));
  EXPECT_EQ(takeCalls(), Lines{"./src$ status|-l"});
}

TEST_F(Operations, RunTheirCommandsUntilOneFails) {
  const std::pair<Operation, Lines> cases[] = {
      {[](auto& p) { return p.login("u", "", root); }, {"host$ login|-p|"}},
      {[](auto& p) { return p.checkin("src/a.c", "two\nlines 'and' \"quotes\""); },
       {".$ commit|-m|two\nlines 'and' \"quotes\"|src/a.c", "./src$ status|-l|a.c"}},
      {[](auto& p) { return p.checkin("a", nullptr); }, {".$ commit|-m|no comment|a"}},
      {[](auto& p) { return p.checkin("a", ""); }, {".$ commit|-m|no comment|a"}},
      {[](auto& p) { return p.addFile("src/a.c", ""); },
       {"./src$ add|a.c", ".$ commit|-m|no comment|src/a.c", "./src$ status|-l|a.c"}},
      {[](auto& p) { return p.addFile("/src//a.c", "m"); },
       {"./src$ add|a.c", ".$ commit|-m|m|/src//a.c"}},
      {[](auto& p) { return p.addFile("src/new/deep/a.c", "m"); },
       {"./src$ add|new", "./src/new$ add|deep", "./src/new/deep$ add|a.c",
        ".$ commit|-m|m|src/new/deep/a.c"}},
      {[](auto& p) { return p.getFile("src/a.c", true); },
       {".$ update|src/a.c", "./src$ status|-l|a.c"}},
      {[](auto& p) { return p.getTo("src/a.c", "", "/dev/null"); }, {".$ update|-p|-r||src/a.c"}},
      // Only what is modified is replaced before an edit.
      {[](auto& p) { return p.checkout("src/a.c", "x", true); },
       {".$ update|-C|src/a.c", ".$ edit|src/a.c", "./src$ status|-l|a.c"}},
      {[](auto& p) { return p.checkout("src/a.c", "", false); },
       {".$ edit|src/a.c", "./src$ status|-l|a.c"}},
      {[](auto& p) { return p.checkout("src/b.c", nullptr, true); },
       {".$ edit|src/b.c", "./src$ status|-l|b.c"}},
      {[](auto& p) { return p.checkout("src/none", "", true); },
       {".$ edit|src/none", "./src$ status|-l|none"}},
      {[](auto& p) { return p.undoCheckout("src/a.c", false); },
       {".$ unedit|-w|-y|src/a.c", "./src$ status|-l|a.c"}},
      {[](auto& p) { return p.undoCheckout("src/a.c", true); },
       {".$ unedit|-y|src/a.c", ".$ update|-C|src/a.c", "./src$ status|-l|a.c"}},
  };
  set("CVSLoginRequired", "Yes");
  reply("status", 0, statusBlock("a.c", "Locally Modified") + statusBlock("b.c", "Up-to-date"));
  ASSERT_TRUE(known("src/a.c"));  // cached: what succeeds reads it again
  takeCalls();
  for (const auto& [operation, commands] : cases) {
    scratch.write("src/new/deep/a.c", "");
    for (std::size_t last = 0; last < commands.size(); ++last) {
      const std::string& call = commands[last];
      const std::string command =
          call.substr(call.find(' ') + 1, call.find('|') - call.find(' ') - 1);
      if (command == "status") continue;
      std::string key = command + ':' + call.substr(call.rfind('|') + 1);
      std::replace(key.begin(), key.end(), '/', '%');
      reply(key, 2, "output\n", "\nthe words of\n" + call);
      EXPECT_FALSE(operation(provider)) << call;
      EXPECT_EQ(takeCalls(),
                Lines(commands.begin(), commands.begin() + static_cast<int>(last) + 1));
      EXPECT_EQ(provider.getLastErrorCommand(), command);
      EXPECT_EQ(provider.getLastError(), "the words of\n" + call);
      reply(key, 0);
    }
    EXPECT_TRUE(operation(provider)) << ::testing::PrintToString(commands);
    EXPECT_EQ(takeCalls(), commands);
  }
  reply("logout", 1, "", "no");
  EXPECT_TRUE(provider.logout());
  EXPECT_STREQ(provider.getLastError(), "no");
  set("CVSLoginRequired", "yes");  // which is not "Yes"
  takeCalls();
  EXPECT_TRUE(provider.login("u", "", root) && provider.logout());
  EXPECT_EQ(takeCalls(), Lines{});
}

TEST_F(Operations, KeepTheLastErrorUntilTheNext) {
  std::vector<std::string> output = {"stale"};
  const auto run = [&] {
    return provider.executeCVSCommand("x", {"-g"}, {"-o"}, "", {"f"}, output);
  };
  EXPECT_EQ(run(), 0);
  EXPECT_STREQ(provider.getLastErrorCommand(), "");
  reply("-g", 0, "a\n\nb\n", "warning");  // the stand-in takes the option for the command
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(output, (Lines{"a", "", "b"}));
  EXPECT_STREQ(provider.getLastErrorCommand(), "x");
  EXPECT_STREQ(provider.getLastError(), "warning");
  reply("-g", 0);
  EXPECT_EQ(run(), 0);
  EXPECT_STREQ(provider.getLastError(), "warning");
  reply("-g", 200, "out\n");
  EXPECT_EQ(run(), -56);
  EXPECT_STREQ(provider.getLastError(), "");
  EXPECT_EQ(output, Lines{"out"});
  EXPECT_EQ(takeCalls().back(), "host$ -g|x|-o|f");
  const std::string slow = scratch.write("slow", "#!/bin/sh\nexec >&- 2>&-; sleep 0.1; exit 3");
  std::filesystem::permissions(slow, std::filesystem::perms::owner_all);
  set("CVSExecutable", slow);
  EXPECT_EQ(run(), 3);
  reply("-g", 1, "", "said");
  set("CVSExecutable", STAND_IN_CLIENT);
  EXPECT_EQ(run(), 1);
  EXPECT_FALSE(provider.setRoots("/usr") || provider.setRoots("/", "m") || known(nullptr));
  EXPECT_STREQ(provider.getLastError(), "said");
  set("CVSExecutable", "");
  EXPECT_EQ(run(), -1);
  EXPECT_EQ(output, Lines{});
  EXPECT_STREQ(provider.getLastError(), "");
}

TEST_F(Operations, RefuseNullPointersAndRunNothing) {
  auto& p = provider;
  p.preMulti();
  EXPECT_FALSE(p.setRoots(nullptr) || p.setRoots(nullptr, "m") || p.setRoots("/a/b", nullptr));
  EXPECT_FALSE(p.addFile(nullptr, "m") || p.addFile("", "m") || p.addFile("//", "m"));
  EXPECT_FALSE(p.saved(nullptr) || p.checkin(nullptr, "m") || p.getFile(nullptr, true));
  EXPECT_FALSE(p.getTo(nullptr, "1", "f") || p.getTo("a", nullptr, "f"));
  EXPECT_FALSE(p.getTo("a", "1", nullptr) || p.createDirectory("p", nullptr));
  EXPECT_FALSE(p.checkout(nullptr, "", true) || p.undoCheckout(nullptr, true));
  EXPECT_FALSE(p.iterateRemoteDirectory(nullptr, true) != 0 || known(nullptr));
  EXPECT_TRUE(p.postMulti());
  EXPECT_EQ(takeCalls(), Lines{});
  EXPECT_EQ(p.getLocalRoot(), scratch.path());
  EXPECT_TRUE(p.login(nullptr, nullptr, nullptr));
  EXPECT_STREQ(p.getRepositoryListEntry(), "");
}

// What the provider has handed out is as good an argument as any, although it changes meanwhile.
TEST_F(Operations, TakeTheProvidersOwnStrings) {
  const std::string path = scratch.path() + "/name-of-a-file";  // each string can be one
  scratch.write("CVS/Repository", path + "-remote\n");
  const std::string status = statusBlock("a", "Locally Modified", path, path + "-newer");
  using Use = std::function<bool(CVSInterface&, const char*)>;
  const std::string other = scratch.path() + "/newer";
  const auto batch = [](CVSInterface& p, bool joined) { return joined && p.postMulti(); };
  const Use uses[] = {
      [](auto& p, auto s) { return p.setOption("Environment/Source Code Control/CVSRoot", s); },
      [](auto& p, auto s) { return p.login(s, "", root) && p.createDirectory("p", "n"); },
      [](auto& p, auto s) { return p.login("", s, root) && p.checkin("a", "m"); },
      [](auto& p, auto s) { return p.login("", "", s); },
      [](auto& p, auto s) { return p.setRoots(s); },
      [](auto& p, auto s) { return p.setRoots(s, "m"); },
      [&](auto& p, auto s) { return p.setRoots(other.c_str(), s); },
      [](auto& p, auto s) { return p.addFile(s, "m"); },
      [](auto& p, auto s) { return p.addFile("a", s); },
      [](auto& p, auto s) { return knows(p, s); },
      [](auto& p, auto s) { return p.saved(s) && p.getFile(s, true); },
      [](auto& p, auto s) { return p.getTo(s, "1", "/dev/null"); },
      [](auto& p, auto s) { return p.getTo("a", s, "/dev/null"); },
      [&](auto& p, auto s) {
        return std::string(s).find(scratch.path() + '/') == 0 && p.getTo("a", "1", s);
      },
      [](auto& p, auto s) { return p.checkout(s, s, true); },
      [](auto& p, auto s) { return p.undoCheckout(s, true); },
      [](auto& p, auto s) { return p.checkin(s, "m"); },
      [](auto& p, auto s) { return p.checkin("a", s); },
      [&](auto& p, auto s) { return p.preMulti(), batch(p, p.checkin(s, s) && p.addFile("b", s)); },
      [](auto& p, auto s) { return p.iterateRemoteDirectory(s, true) != 0; },
      [](auto& p, auto s) { return p.createDirectory(s, "n"); },
      [](auto& p, auto s) { return p.createDirectory("p", s); },
  };
  // All that can be seen of a use of a string, or of a copy of it.
  constexpr std::size_t strings = 7;
  const auto observe = [&](const Use& use, std::size_t index, bool copied) {
    CVSInterface fresh;
    reply("rls", 0, "D/an-entry-with-a-long-name////\n", path + "-said");
    reply("status", 0, status);
    tie(fresh);
    EXPECT_TRUE(fresh.iterateRemoteDirectory("p", true) && fresh.getFileStatus("a"));
    for (const char* command :
         {"add", "commit", "update", "edit", "unedit", "rls", "status", "import", "checkout"}) {
      reply(command, 0, command[0] == 's' ? statusBlock("a", "Needs Patch") : "", command + path);
    }
    std::filesystem::remove(path + "-said");
    takeCalls();
    const CVSFileStatus& record = *fresh.getFileStatus("a");
    const char* const handed[strings] = {fresh.getLastError(),
                                         fresh.getLocalRoot(),
                                         fresh.getRemoteRoot(),
                                         fresh.getRepositoryListEntry(),
                                         fresh.getRemoteDirectoryEntry(),
                                         record.workingRevision.c_str(),
                                         record.repositoryRevision.c_str()};
    const char* const string = handed[index];
    const bool result = use(fresh, copied ? std::string(string).c_str() : string);
    Lines seen = takeCalls();
    for (auto& call : seen) {
      if (call.find("import|") != call.npos) call.erase(0, call.find('$'));
    }
    seen.insert(seen.end(), {result ? "true" : "false", fresh.getLocalRoot(), fresh.getRemoteRoot(),
                             fresh.getRepositoryListEntry(), fresh.getLastError()});
    if (std::filesystem::exists(path + "-said")) seen.push_back("written");
    return seen;
  };
  for (std::size_t i = 0; i < std::size(uses); ++i) {
    for (std::size_t j = 0; j < strings; ++j) {
      EXPECT_EQ(observe(uses[i], j, false), observe(uses[i], j, true)) << i << " of string " << j;
    }
  }
}

TEST_F(Operations, LearnTheRemoteRootFromTheWorkingCopy) {
  const std::pair<std::string, std::string> cases[] = {
      {"lib/proj\n", "lib/proj"},
      {"lib/proj", "lib/proj"},
      {"a\nb\n", "a"},
      {"", ""},
      {std::string(3000, 'x'), std::string(1023, 'x')}};
  for (const auto& [contents, remote] : cases) {
    scratch.write("CVS/Repository", contents);
    EXPECT_TRUE(provider.setRoots((scratch.path() + '/').c_str()));
    EXPECT_EQ(provider.getLocalRoot(), scratch.path() + '/');
    EXPECT_EQ(provider.getRemoteRoot(), remote);
  }
  EXPECT_FALSE(provider.setRoots("/usr"));
  EXPECT_EQ(provider.getLocalRoot(), scratch.path() + '/');
}

TEST_F(Operations, CheckOutANewRoot) {
  const std::string here = scratch.path();
  const std::tuple<std::string, bool, Lines> cases[] = {
      {here + "/proj", true, {".$ checkout|-l|-d|proj|lib/p"}},
      {here + "//src//proj//", true, {"./src$ checkout|-l|-d|proj|lib/p"}},
      {"no-such-directory", true, {"/$ checkout|-l|-d|no-such-directory|lib/p"}},
      {here + "/src", true, {}},
      {"//", false, {}},
      {"", false, {}},
      {here + "/missing/proj", false, {}}};
  for (const auto& [local, result, commands] : cases) {
    EXPECT_EQ(provider.setRoots(local.c_str(), "lib/p"), result) << local;
    EXPECT_EQ(takeCalls(), commands);
    EXPECT_EQ(provider.getLocalRoot(), '/' + local);
    EXPECT_STREQ(provider.getRemoteRoot(), "lib/proj");
  }
}

TEST_F(Operations, ListTheRepository) {
  reply("rls", 0,
        "D/docs////\n\nmessage\n/main.c/1.4/Mon Mar  3//\nD\n///\nD///\n//odd//\nD/a b////\n/x\n");
  const auto list = [&](const char* path, bool directories) {
    Lines names;
    const int count = provider.iterateRemoteDirectory(path, directories);
    for (const char* name; (name = provider.getRemoteDirectoryEntry()) != nullptr;) {
      names.emplace_back(name);
    }
    EXPECT_EQ(static_cast<std::size_t>(count), names.size());
    return names;
  };
  EXPECT_EQ(provider.getRemoteDirectoryEntry(), nullptr);
  EXPECT_EQ(list("p", true), (Lines{"docs", "a b"}));
  EXPECT_EQ(list("p", false), (Lines{"main.c", "odd", "x"}));

  // A name of one listing is a fit argument for the next.
  provider.iterateRemoteDirectory("p", true);
  takeCalls();
  provider.iterateRemoteDirectory(provider.getRemoteDirectoryEntry(), true);
  EXPECT_EQ(takeCalls(), Lines{"host$ -q|rls|-e|docs"});
  reply("rls", 1, "D/docs////\n");
  EXPECT_EQ(list("p", true), Lines{});
}

TEST_F(Operations, WriteARevisionWholeOrNotAtAll) {
  const std::string file = scratch.write("to", "before");
  const std::pair<const char*, const char*> cases[] = {
      {"a\nb\nc\n", "a\nb\nc\n"}, {"a\nlast", "a\nlast\n"}, {"a\r\nb\r\n", "a\nb\n"}, {"", ""}};
  reply("update", 1, "half");
  EXPECT_FALSE(provider.getTo("a", "1.1", file.c_str()));
  EXPECT_EQ(readFile(file), "before");
  for (const auto& [contents, written] : cases) {
    reply("update", 0, contents, "Checking out a");
    EXPECT_TRUE(provider.getTo("a", "1.1", file.c_str())) << contents;
    EXPECT_EQ(readFile(file), written);
  }
  reply("update", 0, "text", "a heading");
  EXPECT_FALSE(provider.getTo("a", "1.1", "/no/such/directory/file"));
  EXPECT_STREQ(provider.getLastError(), "a heading");
  EXPECT_FALSE(provider.getTo("a", "1.1", "/dev/full"));
}

TEST_F(Operations, ImportANewDirectoryFromAnEmptyOne) {
  const std::tuple<const char*, const char*, const char*, const char*> cases[] = {
      {nullptr, "lib", "docs", "lib/docs||start"},
      {"u", nullptr, "docs", "docs|u|start"},
      {"v", "", "docs", "/docs|v|start"},
      {"w", "lib/", "docs", "lib//docs|w|start"}};
  for (const auto& [user, parent, name, arguments] : cases) {
    if (user != nullptr) provider.login(user, nullptr, root);
    EXPECT_TRUE(provider.createDirectory(parent, name));
    const std::string call = takeCalls().at(0), directory = call.substr(0, call.find(' '));
    EXPECT_EQ(call, directory + " (empty, private)$ import|-m|Quillmarsh Generated|" + arguments);
    EXPECT_FALSE(std::filesystem::exists(directory)) << directory;
  }
  reply("import", 1);
  EXPECT_FALSE(provider.createDirectory(nullptr, "docs"));
}

TEST_F(Operations, ReadOnlyAddedDirectoriesAgain) {
  reply("status", 0, statusBlock("x.c", "Up-to-date"));
  scratch.write("src/new/deep/x.c", "");
  ASSERT_TRUE(known("src/x.c") && known("src/new/x.c"));
  EXPECT_TRUE(provider.addFile("src/new/deep/x.c", "m"));
  EXPECT_EQ(takeCalls().size(), 6u);
  EXPECT_TRUE(known("src/x.c") && known("src/new/x.c"));
  EXPECT_EQ(takeCalls(), Lines{"./src/new$ status|-l"});
}

class Batches : public ProviderTest {
 protected:
  // Takes steps of OPERATION, OPERATION:FILE or OPERATION:FILE:TEXT, where "-" is no text at all.
  // Returns "+" or "-" for each, and takes the calls that all have made together.
  std::string take(const std::string& steps, Lines& calls) {
    std::istringstream words(steps);
    std::string results;
    for (std::string step; words >> step;) {
      Lines part;
      splitString(step.c_str(), ":", part);
      part.resize(3);
      const char* const text = part[2] == "-" ? nullptr : part[2].c_str();
      if (part[0] == "open") provider.preMulti();
      const bool result = part[0] == "commit"   ? provider.checkin(part[1].c_str(), text)
                          : part[0] == "add"    ? provider.addFile(part[1].c_str(), text)
                          : part[0] == "update" ? provider.getFile(part[1].c_str(), part[2].empty())
                          : part[0] == "edit"   ? provider.checkout(part[1].c_str(), text, false)
                          : part[0] == "login"  ? provider.login("u", "p", root)
                                                : part[0] == "open" || provider.postMulti();
      results += result ? '+' : '-';
    }
    calls = takeCalls();
    return results;
  }
};

TEST_F(Batches, RunAsOneCommand) {
  const std::pair<const char*, Lines> cases[] = {
      {"open close commit:a:A", {".$ commit|-m|A|a"}},
      {"open commit:a:A open commit:b:B commit:a:C close close", {".$ commit|-m|A|a|b|a"}},
      {"open commit:a:- close", {".$ commit|-m|no comment|a"}},
      {"open commit:a commit:b:B close", {".$ commit|-m||a|b"}},
      {"open commit:a:A update:b:-C close", {".$ commit|-m|A|a|b"}},
      {"open update:a:-C update:b close", {".$ update|-C|a|b"}},
      {"open update:a commit:b:B close", {".$ update|a|b"}},
      {"open add:src/n commit:b:B close", {"./src$ add|n", ".$ commit|-m|no comment|src/n|b"}},
      {"open commit:a:A add:n:N close", {".$ add|n", ".$ commit|-m|A|a|n"}},
      // A login makes the batch forget its command, and nothing else.
      {"open commit:a:A login commit:b:B close", {".$ commit|-m|A|-m|B|a|b"}},
      {"open commit:a:A login add:n:N close", {".$ add|n", ".$ commit|-m|A|-m|N|a|n"}},
      {"open commit:a:A login update:b:-C close", {".$ update|-C|a|b"}},
      {"open commit:a:A login close", {".$ |-m|A|a"}},
      // An edit does not join; it reads the status, and so comes last.
      {"open edit:a:- close", {".$ status|-l", ".$ edit|a", ".$ status|-l|a"}},
  };
  for (const auto& [steps, commands] : cases) {
    Lines calls;
    EXPECT_EQ(take(steps, calls).find('-'), std::string::npos) << steps;
    EXPECT_EQ(calls, commands) << steps;
  }
}

TEST_F(Batches, StayOpenAndWholeAfterAFailure) {
  Lines calls;
  const std::string first = ".$ commit|-m|A|a";
  reply("commit", 1, "", "not up to date");
  reply("add:bad", 1);
  EXPECT_EQ(take("open commit:a:A close close add:bad:B commit:b:B close", calls), "++---+-");
  EXPECT_EQ(calls, (Lines{first, first, ".$ add|bad", first + "|b"}));
  EXPECT_STREQ(provider.getLastError(), "not up to date");

  // It runs wherever the root is by then, and then reads every file again, in order.
  reply("commit", 0);
  reply("status", 0, statusBlock("x", "Up-to-date"));
  ASSERT_TRUE(known("src/x"));
  EXPECT_EQ(take("commit:src/x:X commit:src/x:X close commit:c:C", calls), "++++");
  EXPECT_EQ(calls, (Lines{"./src$ status|-l", first + "|b|src/x|src/x", "./src$ status|-l|x",
                          "./src$ status|-l|x", ".$ commit|-m|C|c"}));
}

}  // namespace
