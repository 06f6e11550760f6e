#include "render/order.h"

#include <algorithm>
#include <cstring>
#include <type_traits>

namespace vexathumb::render {
namespace {

static_assert(std::is_trivially_copyable_v<OrderRecord>);
static_assert(std::is_trivially_copyable_v<AnswerRecord>);

constexpr uint64_t kLongestTime = uint64_t{24} * 3600 * 1000;  // milliseconds
constexpr uint64_t kMostBytes = uint64_t{1} << 40U;

// A number that its field has no room for becomes one that no field may have.
uint8_t Small(int value) { return value < 0 || value > 254 ? 255 : static_cast<uint8_t>(value); }

uint64_t Milliseconds(std::chrono::milliseconds time) {
  return time.count() < 0 ? 0 : static_cast<uint64_t>(time.count());
}

PictureRecord MakePicture(const PictureOrder& picture) {
  PictureRecord record = {};
  record.width = picture.width;
  record.height = picture.height;
  record.fill = picture.fill ? 1 : 0;
  record.coding = picture.coding;
  record.quality = Small(picture.quality);
  return record;
}

bool IsValid(const PictureRecord& picture) {
  const auto is_side = [](uint32_t side) { return side >= 1 && side <= kLargestSide; };
  return is_side(picture.width) && is_side(picture.height) && picture.fill <= 1 &&
         picture.coding <= Coding::kPng && picture.quality >= 1 && picture.quality <= 100;
}

void MakeOneLine(char* field, size_t size) {
  field[size - 1] = '\0';
  const size_t length = strlen(field);
  std::replace_if(
      field, field + length, [](unsigned char c) { return c < ' ' || c == 0x7f; }, ' ');
}

}  // namespace

OrderRecord MakeOrder(const Job& job) {
  OrderRecord record = {};
  record.magic = kOrderMagic;
  record.version = kOrderVersion;
  record.memory = job.limits.memory;
  record.cpu_milliseconds = Milliseconds(job.limits.cpu);
  record.wall_milliseconds = Milliseconds(job.limits.wall);
  record.pixels = job.limits.pixels;
  record.file_size = job.limits.file_size;
  record.orientation = Small(job.orientation);
  record.turns = Small(job.turns);
  record.takes_damaged = job.takes_damaged ? 1 : 0;
  record.picture_count = static_cast<uint8_t>(std::min<size_t>(job.pictures.size(), 255));
  const size_t count = std::min(job.pictures.size(), kMostPictures);
  std::transform(job.pictures.begin(), job.pictures.begin() + static_cast<std::ptrdiff_t>(count),
                 record.pictures.begin(), MakePicture);
  return record;
}

bool IsValid(const OrderRecord& order) {
  if (order.magic != kOrderMagic || order.version != kOrderVersion) return false;
  for (const uint64_t time : {order.cpu_milliseconds, order.wall_milliseconds}) {
    if (time < 1 || time > kLongestTime) return false;
  }
  for (const uint64_t bytes : {order.memory, order.file_size}) {
    if (bytes < 1 || bytes > kMostBytes) return false;
  }
  return order.orientation <= 8 && order.turns <= 3 && order.takes_damaged <= 1 &&
         order.picture_count <= kMostPictures &&
         std::all_of(order.pictures.begin(), order.pictures.begin() + order.picture_count,
                     [](const PictureRecord& picture) { return IsValid(picture); });
}

void SetText(char* field, size_t size, const char* text) {
  const size_t length = std::min(strlen(text), size - 1);
  memcpy(field, text, length);
  field[length] = '\0';
  MakeOneLine(field, size);
}

AnswerRecord MakeAnswer(Ending ending, const char* detail) {
  AnswerRecord answer = {};
  answer.magic = kOrderMagic;
  answer.version = kOrderVersion;
  answer.ending = ending;
  SetText(answer.detail.data(), answer.detail.size(), detail);
  return answer;
}

bool MakeHarmless(AnswerRecord* answer) {
  if (answer->magic != kOrderMagic || answer->version != kOrderVersion ||
      answer->ending > Ending::kStopped || answer->picture_count > kMostPictures) {
    return false;
  }
  constexpr int32_t kMostErrors = 4096;
  if (answer->error < 0 || answer->error >= kMostErrors) answer->error = 0;
  MakeOneLine(answer->type.data(), answer->type.size());
  MakeOneLine(answer->detail.data(), answer->detail.size());
  return true;
}

Answer ReadAnswer(const AnswerRecord& record) {
  Answer answer;
  answer.ending = record.ending;
  answer.error = record.error;
  answer.detail = record.detail.data();
  answer.type = record.type.data();
  answer.width = record.width;
  answer.height = record.height;
  answer.frames = record.frames;
  answer.has_alpha = record.has_alpha != 0;
  answer.is_damaged = record.is_damaged != 0;
  answer.pictures.assign(record.pictures.begin(), record.pictures.begin() + record.picture_count);
  answer.peak_memory = record.peak_memory;
  return answer;
}

}  // namespace vexathumb::render
