// The library as a host meets it: what it exports and needs, and where each operation stands.
#include <elf.h>

#include <cstring>
#include <typeinfo>

#include "support.h"

// A host's own idea of the interface, by position alone. Not in the unnamed namespace: there the
// compiler sees that nothing implements it.
struct HostSide {
  virtual bool setOption(const char*, const char*) = 0;
  virtual int iterateRepositoryList() = 0;
  virtual const char* getRepositoryListEntry() = 0;
  virtual bool login(const char*, const char*, const char*) = 0;
  virtual bool logout() = 0;
  virtual bool setRootsToExisting(const char*) = 0;
  virtual bool setRootsCheckingOut(const char*, const char*) = 0;
  virtual const char* getLocalRoot() = 0;
  virtual const char* getRemoteRoot() = 0;
  virtual bool checkOutSupported() = 0;
  virtual bool refresh() = 0;
  virtual bool status(const char*, bool&, bool&, bool&, bool&, const char*&, const char*&,
                      const char*&) = 0;
  virtual bool addFile(const char*, const char*) = 0;
  virtual bool saved(const char*) = 0;
  virtual bool getFile(const char*, bool) = 0;
  virtual bool getTo(const char*, const char*, const char*) = 0;
  virtual bool checkout(const char*, const char*, bool) = 0;
  virtual bool undoCheckout(const char*, bool) = 0;
  virtual bool checkin(const char*, const char*) = 0;
  virtual bool merged(const char*, const char*) = 0;
  virtual const char* getRoot() = 0;
  virtual bool refreshDirectoriesList(const char*) = 0;
  virtual int iterateRemoteDirectory(const char*, bool) = 0;
  virtual const char* getRemoteDirectoryEntry() = 0;
  virtual bool createDirectory(const char*, const char*) = 0;
  virtual const char* getLastErrorCommand() = 0;
  virtual const char* getLastError() = 0;
  virtual void preMulti() = 0;
  virtual bool postMulti() = 0;

 protected:
  ~HostSide() = default;
};

namespace {

class Boundary : public ProviderTest {
 protected:
  Boundary() { tie(*allocated); }
  ~Boundary() override { library.release(allocated); }

  const Library library;
  Interface* allocated = library.allocate();
  HostSide* host = reinterpret_cast<HostSide*>(allocated);
};

// What each operation leaves to see that no other at its place would.
TEST_F(Boundary, HasEveryOperationAtItsPlace) {
  bool flag = false;
  const char* text = "";
  EXPECT_EQ(host->iterateRepositoryList(), 1);
  EXPECT_STREQ(host->getRepositoryListEntry(), root);
  EXPECT_FALSE(host->setRootsToExisting("/no/such/directory"));
  EXPECT_STREQ(host->getLocalRoot(), scratch.path().c_str());
  EXPECT_STREQ(host->getRemoteRoot(), "lib/proj");
  EXPECT_FALSE(host->checkOutSupported());
  EXPECT_TRUE(host->setOption("Environment/Source Code Control/CVSEditSupported", "Yes"));
  EXPECT_TRUE(host->checkOutSupported());
  EXPECT_FALSE(host->merged("a", "b"));
  EXPECT_STREQ(host->getRoot(), ".");
  EXPECT_TRUE(host->refreshDirectoriesList(nullptr));
  EXPECT_STREQ(host->getLastErrorCommand(), "");
  EXPECT_STREQ(host->getLastError(), "");
  EXPECT_EQ(takeCalls(), Lines{});

  reply("status", 0, statusBlock("a", "Up-to-date"));
  EXPECT_TRUE(host->status("a", flag, flag, flag, flag, text, text, text));
  EXPECT_TRUE(host->saved("a"));
  EXPECT_TRUE(host->refresh());
  EXPECT_EQ(takeCalls(),
            (Lines{".$ status|-l", ".$ editors|-l", ".$ status|-l|a", ".$ editors|a"}));
  EXPECT_TRUE(host->addFile("b", nullptr));
  EXPECT_TRUE(host->getFile("c", true));
  EXPECT_TRUE(host->getTo("d", "1.1", (scratch.path() + "/to").c_str()));
  EXPECT_TRUE(host->undoCheckout("f", false));
  host->preMulti();
  EXPECT_TRUE(host->checkin("g", "m"));
  EXPECT_EQ(takeCalls(), (Lines{".$ add|b", ".$ commit|-m|no comment|b", ".$ update|c",
                                ".$ update|-p|-r|1.1|d", ".$ unedit|-w|-y|f"}));
  EXPECT_TRUE(host->postMulti());
  EXPECT_EQ(takeCalls(), Lines{".$ commit|-m|m|g"});
  EXPECT_TRUE(host->checkout("e", nullptr, false));
  EXPECT_EQ(takeCalls(), (Lines{".$ status|-l", ".$ editors|-l", ".$ edit|e", ".$ status|-l|e",
                                ".$ editors|e"}));

  reply("rls", 0, "D/x////\n");
  EXPECT_EQ(host->iterateRemoteDirectory("p", true), 1);
  EXPECT_STREQ(host->getRemoteDirectoryEntry(), "x");
  EXPECT_TRUE(host->createDirectory("p", "n"));
  takeCalls();
  EXPECT_TRUE(host->setOption("Environment/Source Code Control/CVSLoginRequired", "Yes"));
  reply("login", 1, "", "refused\n");
  EXPECT_FALSE(host->login("u", "p", root));
  EXPECT_STREQ(host->getLastErrorCommand(), "login");
  EXPECT_STREQ(host->getLastError(), "refused");
  EXPECT_TRUE(host->logout());
  EXPECT_EQ(takeCalls(), (Lines{"host$ login|-p|p", "host$ logout"}));
  EXPECT_TRUE(host->setRootsCheckingOut((scratch.path() + "/new").c_str(), "m"));
  EXPECT_EQ(takeCalls(), Lines{".$ checkout|-l|-d|new|m"});
}

TEST_F(Boundary, GivesIndependentObjectsThatKnowTheirType) {
  Interface* other = library.allocate();
  EXPECT_STREQ(other->getLocalRoot(), "");
  EXPECT_STREQ(typeid(*other).name(), typeid(CVSInterface).name());
  EXPECT_STREQ(typeid(SourceCodeControlSystemProviderInterface).name(),
               "40SourceCodeControlSystemProviderInterface");
  EXPECT_STREQ(typeid(CVSInterface).name(), "12CVSInterface");
  library.release(other);
  library.release(nullptr);
}

Lines outputOf(const std::string& command) {
  Lines lines;
  FILE* pipe = popen(command.c_str(), "r");
  char line[4096];
  while (pipe != nullptr && fgets(line, sizeof line, pipe) != nullptr) {
    line[strcspn(line, "\n")] = '\0';
    lines.emplace_back(line);
  }
  if (pipe != nullptr) pclose(pipe);
  return lines;
}

TEST(Library, ExportsTwoNamesAndNeedsOnlyTheLanguagesOwn) {
  const std::string library = PROVIDER_LIBRARY;
  EXPECT_EQ(readFile(library)[EI_CLASS], sizeof(void*) == 4 ? ELFCLASS32 : ELFCLASS64);
  EXPECT_EQ(outputOf("nm -D --defined-only -P '" + library + "' | cut -d' ' -f1 | sort"),
            (Lines{"AllocateSourceCodeControlSystemInterface",
                   "ReleaseSourceCodeControlSystemInterface"}));
#ifndef __SANITIZE_ADDRESS__  // which needs a runtime of its own
  // The runtime that the host's own code uses, too: exceptions pass from one to the other.
  EXPECT_EQ(
      outputOf("readelf -dW '" + library + "' | sed -n 's/.*NEEDED.*\\[\\(.*\\)\\]/\\1/p' | sort"),
      (Lines{"libc.so.6", "libgcc_s.so.1", "libstdc++.so.6"}));
#endif
}

}  // namespace
