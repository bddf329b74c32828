#pragma once

#include <string>

#include "files.h"
#include "provider.h"
#include "workingCopy.h"

// Whether a file is marked as binary (-kb) or holds NUL bytes here. A revision comes as lines of
// text, so that of a binary file may differ from what the repository has.
bool isBinary(const Session& session, const File& file);

// Fetches one revision of a file, as lines of text. False after a failure, which has been reported,
// also when the client succeeds without output because the file has no such revision.
bool fetchRevision(const Session& session, const File& file, const std::string& revision,
                   const Descriptor& destination);
