#pragma once

/// Takes one line of the log, without its line feed.
using LogSink = void (*)(int level, const char* line, void* user);

/// Lines go to the sink instead of standard output; to standard output again when it is null.
void setLogSink(LogSink sink, void* user);
