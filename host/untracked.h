#pragma once

#include <string>
#include <vector>

// The sorted names in a working-copy directory that are neither in its CVS/Entries nor ignored by
// the client: by its own default, by CVSIGNORE, or by a .cvsignore there or in the home directory.
// The repository's CVSROOT/cvsignore is not known here.
std::vector<std::string> findUntracked(const std::string& directory);
