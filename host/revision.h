#pragma once

#include <string>

#include "provider.h"
#include "survey.h"
#include "workingCopy.h"

// Whether a file is marked as binary (-kb), or holds NUL bytes here: then a revision, which comes
// as lines of text, may not be what the repository has.
bool isBinary(const Session& session, const VersionedFile& file);

// Fetches one revision of a file, as lines of text, into `destination`. False after a failure,
// which has been reported: the client succeeds, with no output, also for a revision that the file
// does not have. The provider must not have run a command before.
bool fetchRevision(Provider& provider, const VersionedFile& file, const std::string& revision,
                   const std::string& destination);
