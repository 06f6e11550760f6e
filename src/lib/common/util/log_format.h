#ifndef VEXATHUMB_COMMON_UTIL_LOG_FORMAT_H_
#define VEXATHUMB_COMMON_UTIL_LOG_FORMAT_H_

// The form of every log line: source file, line, function, then the message in quotes. The first
// three are the first three arguments after the format:
//
//   syslog(LOG_ERR, VEXATHUMB_LOG_FORMAT("failed to save to EA"), kLogSource, __LINE__, __func__);
//
// Administrators' filters know the file names and some line numbers, so each source file states
// the name it logs under, and a fixed line where one is known, instead of using __FILE__.
#define VEXATHUMB_LOG_FORMAT(message) "%s:%d (%s) \"" message "\""

#endif  // VEXATHUMB_COMMON_UTIL_LOG_FORMAT_H_
