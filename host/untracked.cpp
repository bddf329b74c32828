#include "untracked.h"

#include <fnmatch.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "entries.h"
#include "files.h"

namespace {

// The client's own default.
constexpr char defaultPatterns[] =
    ". .. RCS SCCS CVS CVS.adm RCSLOG cvslog.* tags TAGS .make.state .nse_depinfo *~ #* .#* ,* _$* "
    "*$ *.old *.bak *.BAK *.orig *.rej .del-* *.a *.olb *.o *.obj *.so *.exe *.Z *.elc *.ln core";

// A pattern "!" cancels all patterns before it.
void addPatterns(std::istream& words, std::vector<std::string>& patterns) {
  for (std::string word; words >> word;) {
    if (word == "!") {
      patterns.clear();
    } else {
      patterns.push_back(word);
    }
  }
}

void addPatterns(const char* words, std::vector<std::string>& patterns) {
  std::istringstream stream(words == nullptr ? "" : words);
  addPatterns(stream, patterns);
}

void addPatternsOfFile(const std::string& path, std::vector<std::string>& patterns) {
  std::ifstream file = openRegular(path);
  addPatterns(file, patterns);
}

}  // namespace

std::vector<std::string> findUntracked(const std::string& directory) {
  std::vector<std::string> patterns;
  addPatterns(defaultPatterns, patterns);
  if (const char* home = std::getenv("HOME")) {
    addPatternsOfFile(std::string(home) + "/.cvsignore", patterns);
  }
  addPatterns(std::getenv("CVSIGNORE"), patterns);
  addPatternsOfFile(directory + "/.cvsignore", patterns);

  const Entries entries = readEntries(directory).value_or(Entries());
  std::vector<std::string> names;
  for (auto& name : listNames(directory)) {
    const auto matches = [&](const std::string& pattern) {
      return fnmatch(pattern.c_str(), name.c_str(), 0) == 0;
    };
    if (name == "CVS" || entries.find(name) != nullptr) continue;
    if (std::none_of(patterns.begin(), patterns.end(), matches)) names.push_back(std::move(name));
  }
  return names;
}
