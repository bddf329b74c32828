// The library as a host meets it: what it exports, needs and hands out.
#include <elf.h>

#include <typeinfo>

#include "spawnProcess.h"
#include "support.h"

namespace {

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
