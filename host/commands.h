#pragma once

#include <string>
#include <vector>

#include "provider.h"

// The operations behind the program's subcommands. Each takes a configured provider, and one that
// is tied to a working copy where it takes paths in it, reports its failures and returns the exit
// status. A null comment is none.

using Paths = std::vector<std::string>;

// Shows files, all below the directories among them, of the working copy in `directory`.
int showStatus(const Provider& provider, const std::string& directory, const Paths& paths);

// Several files reach the client as one command.
int addFiles(const Provider& provider, const Paths& paths, const char* comment);
int commitFiles(const Provider& provider, const Paths& paths, const char* comment);
int updateFiles(const Provider& provider, const Paths& paths, bool clean);

int editFiles(const Provider& provider, const Paths& paths, bool clean);
// Refuses files that are modified unless they are to be reverted.
int uneditFiles(const Provider& provider, const std::string& directory, const Paths& paths,
                bool revert);

// Writes one revision of a file to `output`, or to the standard output when that is empty.
int printRevision(const Provider& provider, const std::string& file, const std::string& revision,
                  const std::string& output);

int listRepository(const Provider& provider, const std::string& path, bool directories);
int makeDirectory(const Provider& provider, const std::string& path, const std::string& user);
int checkOut(const Provider& provider, const std::string& local, const std::string& remote);

// Asks for the password on a terminal, and reads it from the standard input elsewhere.
int logIn(const Provider& provider, const std::string& user);
int logOut(const Provider& provider);

// Runs a script of operations by the interface's own names, from a file or, when that is empty, the
// standard input.
int runScript(const Provider& provider, const std::string& file);
