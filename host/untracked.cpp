#include "untracked.h"

#include <fnmatch.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "files.h"
#include "workingCopy.h"

namespace {

// The client's own default.
constexpr char defaultPatterns[] =
    ". .. RCS SCCS CVS CVS.adm RCSLOG cvslog.* tags TAGS .make.state .nse_depinfo *~ #* .#* ,* _$* "
    "*$ *.old *.bak *.BAK *.orig *.rej .del-* *.a *.olb *.o *.obj *.so *.exe *.Z *.elc *.ln core";

// A pattern "!" cancels all patterns before it.
void addPatterns(std::istream&& words, std::vector<std::string>& patterns) {
  for (std::string word; words >> word;) {
    if (word == "!") patterns.clear();
    if (word != "!") patterns.push_back(word);
  }
}

std::string fromEnvironment(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? "" : value;
}

}  // namespace

std::vector<std::string> findUntracked(const std::string& directory) {
  std::vector<std::string> patterns;
  addPatterns(std::istringstream(defaultPatterns), patterns);
  addPatterns(openRegular(fromEnvironment("HOME") + "/.cvsignore"), patterns);
  addPatterns(std::istringstream(fromEnvironment("CVSIGNORE")), patterns);
  addPatterns(openRegular(directory + "/.cvsignore"), patterns);

  const Entries entries = readEntries(directory).value_or(Entries());
  std::vector<std::string> names;
  for (auto& name : listNames(directory)) {
    const auto matches = [&](const std::string& pattern) {
      return fnmatch(pattern.c_str(), name.c_str(), 0) == 0;
    };
    if (name == "CVS" || entries.byName.count(name) > 0) continue;
    if (std::none_of(patterns.begin(), patterns.end(), matches)) names.push_back(std::move(name));
  }
  return names;
}
