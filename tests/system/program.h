#ifndef VEXATHUMB_SYSTEM_PROGRAM_H_
#define VEXATHUMB_SYSTEM_PROGRAM_H_

#include <gtest/gtest.h>
#include <sys/types.h>

#include <cstdint>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "kit/temp_dir.h"

namespace vexathumb::system_test {

using Json = nlohmann::json;

// Content of no known type, long enough that there is no doubt.
inline const std::string kNoPicture(1000, 'x');

struct RunResult {
  int exit_code = -1;  // 256 + N when signal N ended it
  std::string out;
  std::string err;
  // What it left in /tmp and /var/tmp under names with its process id.
  std::vector<std::string> leftovers;

  Json json() const { return Json::parse(out); }
  std::vector<Json> json_lines() const;
  int64_t peak_kilobytes = 0;  // of memory, of the largest process among it and those it started
  // The error output is one line of the program's form.
  bool HasOneErrorLine() const;
};

struct RunOptions {
  std::string folder = {};  // the current folder; the caller's when empty
  std::map<std::string, std::string> environment = {};
  std::string output = {};        // where standard output goes; kept in `out` when empty
  bool as_ordinary_user = false;  // of rights; effective when the tests run as root
  std::string input = "/dev/null";
  unsigned open_files = 0;  // descriptors that it may have at once; as many as we when 0
  std::vector<std::string> runner = {};  // a command that runs the one that comes after it
};

// A run of the program that is under way. It is killed when this goes.
class RunningProgram {
 public:
  RunningProgram(const std::vector<std::string>& command,
                 const std::vector<std::string>& environment, const RunOptions& options);
  RunningProgram(const RunningProgram&) = delete;
  RunningProgram& operator=(const RunningProgram&) = delete;
  ~RunningProgram();

  pid_t process() const { return process_; }
  bool IsRunning();
  std::string ErrorsSoFar() const;
  RunResult Wait();

  // Kills it and whatever it has started, and what that has, at one moment.
  void KillAll();

 private:
  bool Reap(int flags);

  kit::TempDir streams_;
  std::string output_;  // where it goes; kept when it goes nowhere else
  bool keeps_output_;
  pid_t process_ = -1;
  bool is_reaped_ = false;
  RunResult result_;
};

// An album of its own: pictures go to its folder, the program reads its settings. Runs the program.
class Album {
 public:
  Album();

  // The path of an entry of the pictures' folder.
  std::string operator/(const std::string& name) const { return pictures_ + "/" + name; }
  const std::string& pictures() const { return pictures_; }

  // A path outside the pictures' folder.
  std::string Aside(const std::string& name) const { return dir_ / name; }

  // The path of an entry of the store, beside the pictures.
  std::string Stored(const std::string& picture, const std::string& name) const {
    return pictures_ + "/.vexaea/" + picture + "/" + name;
  }

  // Puts a file into the store as an application would.
  void Store(const std::string& picture, const std::string& name, const std::string& file) const;

  void WriteSettings(const std::string& text) const;

  // "auto" or "tools", which it is otherwise: what fails and is counted in most tests are tools.
  // Writes settings with nothing else in them.
  void UseEngine(const char* engine);

  // The settings' text by which this album's share counts as indexed.
  std::string IndexedShare() const;

  RunResult Run(const std::vector<std::string>& arguments, const RunOptions& options = {}) const;
  std::unique_ptr<RunningProgram> Start(const std::vector<std::string>& arguments,
                                        const RunOptions& options = {}) const;

  // Gives an ordinary user, where the tests run as root, the album and a copy of the program.
  void OpenToOrdinaryUser() const;

  // Runs a copy of the program from here on, with this script in place of the renderer beside it.
  void ReplaceRenderer(const std::string& script);

  // The environment that preloads the spy.
  std::map<std::string, std::string> Spied(const std::string& variable,
                                           const std::string& value) const;

 private:
  void CopyProgram() const;

  const char* engine_ = "tools";
  bool runs_copy_ = false;
  kit::TempDir dir_;
  std::string pictures_;
};

// What the file system knows of a file besides its bytes.
std::string Identity(const std::string& path);

// One line a name below the folders: kind, size, inode, modification time, bytes' sum.
std::string SnapshotOf(const std::string& folder);

}  // namespace vexathumb::system_test

#endif  // VEXATHUMB_SYSTEM_PROGRAM_H_
