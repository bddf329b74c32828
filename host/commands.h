#pragma once

#include <string>
#include <vector>

#include "input.h"
#include "provider.h"
#include "survey.h"

// The operations behind the program's commands. Paths are relative to the session's working copy,
// and the provider is tied to it. Each reports its failures and returns the exit status. An empty
// message means none.

using Paths = std::vector<std::string>;

struct StatusOptions {
  bool changed = false;    // leave out what is up to date and not edited
  bool untracked = false;  // add what no administrative file names
};

// Shows the files, and for a directory every file below it.
int showStatus(const Session& session, const Paths& paths, const StatusOptions& options);

// Several files reach the client as one command.
int addFiles(Provider& provider, const Session& session, const Paths& paths,
             const std::string& message);
// Without paths, commits every file that is modified, added or removed.
int commitFiles(Provider& provider, const Session& session, const Paths& paths,
                const std::string& message);
// With `clean`, replaces local changes by what the repository has.
int updateFiles(Provider& provider, const Session& session, const Paths& paths, bool clean);

// With `clean`, replaces local changes first.
int editFiles(Provider& provider, const Session& session, const Paths& paths, bool clean);
// Refuses files that are not known to be unmodified, unless they are to be reverted.
int uneditFiles(Provider& provider, const Session& session, const Paths& paths, bool revert);

struct PrintOptions {
  std::string revision;
  std::string output;  // empty: the standard output
  bool force = false;  // binary files, too, although they are fetched as text
};

// Writes one revision of a file.
int printRevision(Provider& provider, const Session& session, const std::string& file,
                  const PrintOptions& options);

// Shows how the files differ from the revisions they are based on. Returns as diff does: 1 for
// differences, 2 for trouble.
int showDifferences(const Session& session, const Paths& paths);

int listRepository(Provider& provider, const std::string& path, bool directories);
// `user` becomes the vendor tag of the import that makes the directory.
int makeDirectory(Provider& provider, const std::string& path, const std::string& user);
// `local` is relative to the session's directory.
int checkOut(Provider& provider, const Session& session, const std::string& local,
             const std::string& remote);

// Asks for the password on a terminal, and reads it from the input elsewhere.
int logIn(Provider& provider, LineReader& input);
int logOut(Provider& provider);

// Runs a script of operations by the interface's own names. An empty file name means the input.
int runScript(Provider& provider, const std::string& file, LineReader& input);
