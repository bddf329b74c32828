#pragma once

#include <string>
#include <vector>

// What a program would do that runs the client by the system's own means. Both demand success.
using Arguments = std::vector<std::string>;

// posix_spawn, read to the end, waitpid. Standard output goes through a pipe, standard error to
// nowhere. Returns the number of bytes read.
std::size_t readOutput(const Arguments& arguments, const std::string& directory);

// popen, getline, pclose. The lines are without terminators.
std::vector<std::string> collectLines(const Arguments& arguments);
