// A file for another process, in a directory where every user may put something, as /tmp is.
//
// The file is always made anew. What stood at the path, be it an earlier script or a link, a FIFO or a file
// that somebody put there, goes unopened; so the new one is a regular file of the daemon's own with one link,
// which nobody else can have open for writing. Any thread; never waits for what stood there.
#pragma once

#include <string_view>

/// Writes the text to a new file at the path, which everybody may read and its owner write, whatever the
/// umask. 0, or the error number of the step that failed; then no file of ours is left.
int writeScriptFile(const char* path, std::string_view text);
