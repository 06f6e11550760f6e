#ifndef VEXATHUMB_RENDER_ORDER_H_
#define VEXATHUMB_RENDER_ORDER_H_

#include <array>
#include <cstdint>

#include "render/renderer.h"

namespace vexathumb::render {

// What goes through the sockets between a program and its renderer, both of one machine and one
// release. A job is one message: an OrderRecord, and these descriptors: where to send the answer,
// the source, and the files in the pictures' order. The answer is one AnswerRecord. The renderer
// sends one more by the socket that jobs come from, when it is ready or cannot become so; nobody
// takes it from there, so that all who share the socket see it.

constexpr uint32_t kOrderMagic = 0x56585231;
constexpr uint32_t kOrderVersion = 3;

constexpr size_t kReplyDescriptor = 0;
constexpr size_t kSourceDescriptor = 1;
constexpr size_t kFirstFileDescriptor = 2;

struct PictureRecord {
  uint32_t width;
  uint32_t height;
  uint8_t fill;  // 0 or 1
  Coding coding;
  uint8_t quality;
  uint8_t unused;
};

struct OrderRecord {
  uint32_t magic;
  uint32_t version;
  uint64_t memory;
  uint64_t cpu_milliseconds;
  uint64_t wall_milliseconds;
  uint64_t pixels;
  uint64_t file_size;
  uint8_t orientation;
  uint8_t turns;
  uint8_t takes_damaged;  // 0 or 1
  uint8_t picture_count;
  std::array<PictureRecord, kMostPictures> pictures;
};

struct AnswerRecord {
  uint32_t magic;
  uint32_t version;
  uint64_t peak_memory;
  uint32_t width;
  uint32_t height;
  uint32_t frames;
  int32_t error;
  Ending ending;
  uint8_t has_alpha;
  uint8_t is_damaged;
  uint8_t picture_count;
  std::array<Size, kMostPictures> pictures;
  std::array<char, 32> type;     // ends with a NUL
  std::array<char, 220> detail;  // ends with a NUL
};

OrderRecord MakeOrder(const Job& job);

// Whether every field of an order has a value that it may have, as if somebody hostile had sent it.
bool IsValid(const OrderRecord& order);

// An answer with nothing in it but how the job ended. A longer detail is cut.
AnswerRecord MakeAnswer(Ending ending, const char* detail);

void SetText(char* field, size_t size, const char* text);

// Puts what nobody may say into bounds: texts end, and are one line of printable characters or
// UTF-8; counts are at most what there is room for. False when that does not make an answer of it.
bool MakeHarmless(AnswerRecord* answer);

Answer ReadAnswer(const AnswerRecord& record);

}  // namespace vexathumb::render

#endif  // VEXATHUMB_RENDER_ORDER_H_
