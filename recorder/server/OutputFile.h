#pragma once

#include <string>

namespace recorder
{

/// Files that a run leaves for whoever started it. They appear whole or not at all: a file beside takes the
/// text and then the name. A link stays and its target is written. What is no file (a pipe, a terminal, another
/// device) stays and gets the text itself, as does a file that one of the process's descriptors, like standard
/// output, writes into.
///
/// Throws std::runtime_error "can't write <path>" when that can be told before; what was there stays.
void CheckCanWrite(const std::string& path);
/// Throws the same when not all of it could be written. A pipe must have a reader, which must take what is
/// there within a few seconds; one that goes ends a process that does not ignore SIGPIPE.
void WriteWhole(const std::string& path, const std::string& text);

}  // namespace recorder
