#pragma once

#include <string>
#include <vector>

// What a program would do that runs the client with nothing but the system's own means. Both throw
// std::runtime_error when the child fails.
using Arguments = std::vector<std::string>;

// posix_spawn, read to the end, waitpid. Only the standard output goes through a pipe. Returns the
// number of bytes read.
std::size_t readOutput(const Arguments& arguments, const std::string& directory);

// popen, getline, pclose. The lines are without terminators.
std::vector<std::string> collectLines(const Arguments& arguments);
