#ifndef VEXATHUMB_TESTS_KIT_DOUBLES_PLATFORM_DOUBLE_H_
#define VEXATHUMB_TESTS_KIT_DOUBLES_PLATFORM_DOUBLE_H_

#include <cstdio>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "kit/doubles/call_journal.h"
#include "vexa/copy.h"
#include "vexa/fs.h"

namespace vexathumb::kit {

// The platform as a test wants it. Link `vexathumb_platform_double` into the test executable in
// place of libvexaplatform.so: every platform operation then goes into the CallJournal and is
// answered by the one living PlatformDouble. Calls without one fail, and are recorded all the same.
//
//   PlatformDouble platform;                                // an empty journal, an ext4 volume
//   platform.shares["photo"] = SHARE_STATUS_INDEXED;
//   platform.SetTool("/usr/bin/djpeg", Fails(1));
//   platform.SetTool("/usr/bin/convert", Writes("picture"));
//   ...
//   EXPECT_THAT(CallJournal::Get().ToolVectors(), ElementsAre(...));
//
// How calls are recorded (operation: path, arguments, flag):
//
//   VEXAGetFSType: directory, {}, flag           VEXAFSIsRemoteFS, VEXAFSIsImageFS: "", {}, type
//   VEXAEAPath: source, {name, size, ad}, type   VEXAEADirPath: source, {size}, type
//   VEXAEAMKDir: directory, {}, flag             VEXAFileCopy: source, {target}
//   VEXAShareGet: name                           VEXAShareFree: ""
//   VLIBCExecv: program, vector, flag            VLIBCPopenv: program, vector, mode's first letter
//   VLIBCExecl: program, {program, list}, flag   VLIBCPclose: ""
//   HttpOutputFile: path, {mime}                 HttpOutputStream: name, {mime, content}
//
// Set the members before the code under test runs; the operations may then be called from several
// threads.
class PlatformDouble {
 public:
  using Vector = std::vector<std::string>;
  // Answers the status of a run, and the stream of an opened tool (null: it cannot be started).
  using Tool = std::function<int(const Vector& argv)>;
  using StreamTool = std::function<FILE*(const Vector& argv)>;

  PlatformDouble();
  ~PlatformDouble();
  PlatformDouble(const PlatformDouble&) = delete;
  PlatformDouble& operator=(const PlatformDouble&) = delete;

  static PlatformDouble* Current();

  // The store directory of a source; "" makes the path operations fail. By default
  // "/d/.vexaea/a.jpg" for "/d/a.jpg".
  std::function<std::string(const std::string& source)> store_directory;

  std::optional<int> directory_path_result;  // answer of VEXAEADirPath; by default its success
  std::optional<int> make_directory_result;  // answer of VEXAEAMKDir, which then makes nothing

  FSTYPE volume_type = FSTYPE_EXT4;
  int volume_errno = 0;  // with FSTYPE_ERR

  std::map<std::string, int> shares;     // name to status
  bool record_of_missing_share = false;  // hand out an indexed record and yet answer "not found"

  int copy_result = 0;
  VEXACOPYARGS copy_args = {};  // of the last copy

  int http_result = 0;

  // What the program at `path` does. A program without a tool fails with status 127, or cannot be
  // opened.
  void SetTool(const std::string& path, Tool tool);
  void SetStreamTool(const std::string& path, StreamTool tool);

  // Every program without a tool of its own is really run.
  void RunReally() { run_really_ = true; }

  // Share records and streams that were handed out and not given back.
  int OpenShares() const;
  int OpenStreams() const;

 private:
  friend struct PlatformDoubleAccess;

  mutable std::mutex mutex_;
  std::map<std::string, Tool> tools_;
  std::map<std::string, StreamTool> stream_tools_;
  bool run_really_ = false;
  int open_shares_ = 0;
  std::map<FILE*, int> streams_;  // to the child's process id, -1 for a scripted one
};

// The file that a tool writes, by its vector: what follows "-outfile", else the last element.
std::string OutputOf(const std::vector<std::string>& argv);

// Tools. One that writes replaces its output file by `content`.
PlatformDouble::Tool Writes(const std::string& content);
PlatformDouble::Tool Fails(int status);
PlatformDouble::Tool FailsAfterWriting(const std::string& content, int status);
PlatformDouble::Tool WritesNothing();                                  // and yet succeeds
PlatformDouble::Tool InTurn(std::vector<PlatformDouble::Tool> tools);  // the last one stays

// Really runs the program and answers its exit status, or 256 and the signal that ended it.
int RunProgram(const std::vector<std::string>& argv);

// Streams.
PlatformDouble::StreamTool Streams(const std::string& content);
PlatformDouble::StreamTool CannotStart();
PlatformDouble::StreamTool FailsToRead();  // opens, and every read fails

}  // namespace vexathumb::kit

#endif  // VEXATHUMB_TESTS_KIT_DOUBLES_PLATFORM_DOUBLE_H_
