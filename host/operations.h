#pragma once

#include <functional>
#include <string>

#include "commands.h"

// Runs operations of the provider that take time or can fail, and says what they have changed.
// `command` is the client command that they run.

// Reports an operation that failed, with the client's words, and returns the exit status.
int reportFailure(Provider& provider, const std::string& operation);

// Makes a path an argument of the client, which takes a leading "-" for an option.
std::string asArgument(const std::string& path);

using FileOperation = std::function<bool(const char* file)>;

// Runs an operation on one file and passes on the client's warnings. A failure is reported.
bool runOn(Job& job, const std::string& path, const std::string& command,
           const FileOperation& operation);

// Runs operations that join a batch, so that several files reach the client as one command; without
// any there is none. Goes on after a failure, passes on the client's warnings, and returns the exit
// status. A failure without words is not reported where `mayFailSilently`.
int runAsOne(Job& job, const Paths& paths, const std::string& command,
             const FileOperation& operation, bool mayFailSilently = false);

// Finds the files of the job. Names the directories of other repositories and leaves them out.
FileGroups findOwnFiles(const Job& job);

// Whether the client, which searches directories by itself, would reach another repository's there;
// if so, that is reported, with the paths to name instead.
bool reachesForeign(const FileGroups& groups, const Job& job);

// Puts what has happened to a file in words; or empty. Where there was none, its path is empty.
using Describe = std::function<std::string(const File& before, const File& after)>;

// Says what has happened to each file, and returns whether there was anything to say.
bool sayChanges(const FileGroups& before, const FileGroups& after, const Describe& describe);

// "VERB PATH 1.1 -> 1.2", without a revision that is not known.
std::string describeChange(const std::string& verb, const std::string& path,
                           const std::string& from, const std::string& to);
