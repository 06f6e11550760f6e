#ifndef VEXATHUMB_PROGRAMS_VEXATHUMB_EXIT_CODE_H_
#define VEXATHUMB_PROGRAMS_VEXATHUMB_EXIT_CODE_H_

namespace vexathumb::program {

enum ExitCode {
  kDone = 0,
  kNoThumbnail = 1,
  kUsage = 2,
  kSourceUnreadable = 3,
  kInternal = 4,
  kStoppedEarly = 75,  // worth trying again, as mail programs have it
};

}  // namespace vexathumb::program

#endif  // VEXATHUMB_PROGRAMS_VEXATHUMB_EXIT_CODE_H_
