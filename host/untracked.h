#pragma once

#include <string>
#include <vector>

// The names in a working-copy directory that its CVS/Entries does not hold, by name, less those
// that the client ignores: by its own default, by CVSIGNORE, or by a .cvsignore there or in the
// home directory. What the repository's CVSROOT/cvsignore says is not known here.
std::vector<std::string> findUntracked(const std::string& directory);
