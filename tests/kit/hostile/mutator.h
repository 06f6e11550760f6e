#ifndef VEXATHUMB_TESTS_KIT_HOSTILE_MUTATOR_H_
#define VEXATHUMB_TESTS_KIT_HOSTILE_MUTATOR_H_

#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace vexathumb::kit {

// Makes hostile files out of sound ones: bits turned, lengths and offsets replaced by extreme ones,
// parts cut, repeated, swapped and taken from other files, mostly near the beginning, where formats
// keep their structure. The same seed gives the same files on every machine.
//
//   Mutator mutator(SmallPictures(), 1);
//   while (...) WriteFile(path, mutator.Next());
class Mutator {
 public:
  // `originals` are files' contents, at least one.
  Mutator(std::vector<std::string> originals, uint32_t seed);

  // The originals in turn, each changed anew.
  std::string Next();

 private:
  size_t Below(size_t end);  // 0 where `end` is 0
  size_t Place(const std::string& bytes);
  void Change(std::string* bytes);
  void FlipBit(std::string* bytes);
  void SetByte(std::string* bytes);
  void SetNumber(std::string* bytes);
  void Cut(std::string* bytes);
  void Remove(std::string* bytes);
  void Repeat(std::string* bytes);
  void Splice(std::string* bytes);
  void Append(std::string* bytes);

  std::vector<std::string> originals_;
  std::mt19937 random_;
  size_t next_ = 0;
};

// The contents of a small picture of every type that the fixtures make, previews and orientations
// among them, and of the beginnings of other kinds of files.
std::vector<std::string> SmallPictures();

}  // namespace vexathumb::kit

#endif  // VEXATHUMB_TESTS_KIT_HOSTILE_MUTATOR_H_
