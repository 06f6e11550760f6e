#ifndef VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_ANSWER_H_
#define VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_ANSWER_H_

namespace vexathumb::web {

// Answers the one request that CGI's variables describe on the C stream `stdout`. Never throws:
// what goes wrong becomes a problem document.
void AnswerRequest(char** variables) noexcept;

}  // namespace vexathumb::web

#endif  // VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_ANSWER_H_
