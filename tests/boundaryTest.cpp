// The library as a host meets it: what it exports and needs, and where each operation stands.
#include <elf.h>

#include <cstdint>
#include <cstring>
#include <typeinfo>

#include "spawnProcess.h"
#include "support.h"

namespace {

// Where a virtual function stands in the table that hosts were compiled against.
template <typename Member>
std::size_t slotOf(Member member) {
  std::uintptr_t word = 0;  // the offset in the table, plus one
  std::memcpy(&word, &member, sizeof word);
  return (word - 1) / sizeof(void*);
}

TEST(Interface, HasEveryOperationAtItsPlace) {
  using OneRoot = bool (Interface::*)(const char*);
  using TwoRoots = bool (Interface::*)(const char*, const char*);
  const std::size_t slots[] = {slotOf(&Interface::setOption),
                               slotOf(&Interface::iterateRepositoryList),
                               slotOf(&Interface::getRepositoryListEntry),
                               slotOf(&Interface::login),
                               slotOf(&Interface::logout),
                               slotOf(static_cast<OneRoot>(&Interface::setRoots)),
                               slotOf(static_cast<TwoRoots>(&Interface::setRoots)),
                               slotOf(&Interface::getLocalRoot),
                               slotOf(&Interface::getRemoteRoot),
                               slotOf(&Interface::checkOutSupported),
                               slotOf(&Interface::refresh),
                               slotOf(&Interface::status),
                               slotOf(&Interface::addFile),
                               slotOf(&Interface::saved),
                               slotOf(&Interface::getFile),
                               slotOf(&Interface::getTo),
                               slotOf(&Interface::checkout),
                               slotOf(&Interface::undoCheckout),
                               slotOf(&Interface::checkin),
                               slotOf(&Interface::merged),
                               slotOf(&Interface::getRoot),
                               slotOf(&Interface::refreshDirectoriesList),
                               slotOf(&Interface::iterateRemoteDirectory),
                               slotOf(&Interface::getRemoteDirectoryEntry),
                               slotOf(&Interface::createDirectory),
                               slotOf(&Interface::getLastErrorCommand),
                               slotOf(&Interface::getLastError),
                               slotOf(&Interface::preMulti),
                               slotOf(&Interface::postMulti)};
  ASSERT_EQ(std::size(slots), 29u);
  for (std::size_t i = 0; i < std::size(slots); ++i) EXPECT_EQ(slots[i], i);
}

TEST(Library, GivesIndependentObjectsThatKnowTheirType) {
  const Library library;
  Interface* first = library.allocate();
  Interface* other = library.allocate();
  first->setOption("Environment/Source Code Control/CVSRoot", "r");
  EXPECT_STREQ(other->getRepositoryListEntry(), "");
  EXPECT_STREQ(typeid(SourceCodeControlSystemProviderInterface).name(),
               "40SourceCodeControlSystemProviderInterface");
  EXPECT_STREQ(typeid(*other).name(), "12CVSInterface");
  library.release(first);
  library.release(other);
  library.release(nullptr);
}

Lines outputOf(const std::string& command) {
  Process process;
  process.run({"sh", "-c", command.c_str()}, true, nullptr, true, true, true, false, true);
  return {process.outputLines.begin(), process.outputLines.end()};
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
