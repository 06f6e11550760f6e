#include "programs/vexathumb-web/answer.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <new>
#include <string>

#include "kit/case_name.h"
#include "kit/files.h"
#include "kit/temp_dir.h"

namespace {

// Allocations that succeed before those that fail.
bool is_memory_short = false;
long allocations_left = 0;
long failures_left = 0;

bool Fails() {
  if (!is_memory_short || --allocations_left >= 0 || failures_left == 0) return false;
  --failures_left;
  return true;
}

}  // namespace

void* operator new(size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return Fails() ? nullptr : malloc(size == 0 ? 1 : size);
}
void* operator new(size_t size) {
  void* const memory = operator new(size, std::nothrow);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
void operator delete(void* memory) noexcept { free(memory); }
void operator delete(void* memory, size_t /*size*/) noexcept { free(memory); }

namespace vexathumb::web {
namespace {

constexpr long kAll = 1'000'000'000;

struct AnswerCase {
  const char* name;
  const char* address;
  int status;
  long failures;  // of allocations, one after the other
};

void PrintTo(const AnswerCase& answer, std::ostream* out) { *out << answer.name; }

class AnswerWithoutMemory : public testing::TestWithParam<AnswerCase> {
 protected:
  AnswerWithoutMemory() {
    std::filesystem::create_directories(folder_ / "photo/b");
    kit::WriteFile(folder_ / "photo/a.txt", "no picture");
    kit::WriteFile(folder_ / "photo/b/c.txt", "no picture");
    kit::WriteFile(folder_ / "platform.ini", "[share photo]\npath = " + (folder_ / "photo") +
                                                 "\n[service]\nlock_dir = " + (folder_ / "lock") +
                                                 "\n");
    setenv("VEXATHUMB_CONFIG", (folder_ / "platform.ini").c_str(), 1);
  }
  ~AnswerWithoutMemory() override { unsetenv("VEXATHUMB_CONFIG"); }

  // What is sent where so many allocations succeed.
  static std::string Answer(std::string address, long allocations, long failures) {
    address = "REQUEST_URI=" + address;
    std::string method = "REQUEST_METHOD=GET";
    std::string client = "REMOTE_ADDR=127.0.0.1";
    std::array<char*, 4> variables = {address.data(), method.data(), client.data(), nullptr};
    char* text = nullptr;
    size_t size = 0;
    FILE* const usual = stdout;
    stdout = open_memstream(&text, &size);
    allocations_left = allocations;
    failures_left = failures;
    is_memory_short = true;
    AnswerRequest(variables.data());
    is_memory_short = false;
    fclose(stdout);
    stdout = usual;
    std::string answer(text, size);
    free(text);
    return answer;
  }

  // 200 where the answer names none.
  static int StatusOf(const std::string& answer) {
    return answer.rfind("Status: ", 0) == 0 ? std::stoi(answer.substr(8)) : 200;
  }

  // Whether it is one, with a body as long as it says.
  static bool IsWhole(const std::string& answer) {
    const std::string length = "Content-Length: ";
    const size_t body = answer.find("\r\n\r\n");
    const size_t said = answer.find(length);
    return body != std::string::npos && said < body &&
           std::stoul(answer.substr(said + length.size())) == answer.size() - body - 4;
  }

  kit::TempDir folder_;
};

// Wherever memory runs out: the worker goes on.
TEST_P(AnswerWithoutMemory, IsARefusal) {
  ASSERT_EQ(StatusOf(Answer(GetParam().address, kAll, 0)), GetParam().status);
  long allocations = 0;
  do {
    const std::string answer = Answer(GetParam().address, allocations, GetParam().failures);
    const bool has_failed = failures_left < GetParam().failures;
    EXPECT_TRUE(IsWhole(answer)) << allocations << ": " << answer;
    const int status = StatusOf(answer);
    EXPECT_TRUE(status == 503 || status == GetParam().status) << allocations << ": " << answer;
    if (!has_failed) break;
  } while (++allocations < kAll);
  EXPECT_GT(allocations, 0);
}

INSTANTIATE_TEST_SUITE_P(
    , AnswerWithoutMemory,
    testing::Values(AnswerCase{"Health", "/health", 200, 1},
                    AnswerCase{"HealthWithNoneLeft", "/health", 200, kAll},
                    AnswerCase{"Listing", "/album/photo/", 200, 1},
                    AnswerCase{"ListingWithNoneLeft", "/album/photo/", 200, kAll},
                    AnswerCase{"NoFile", "/thumb/photo/a.jpg?size=small", 404, 1},
                    AnswerCase{"NoFileWithNoneLeft", "/thumb/photo/a.jpg?size=small", 404, kAll},
                    AnswerCase{"NoRoute", "/", 404, 1},
                    AnswerCase{"NoRouteWithNoneLeft", "/", 404, kAll},
                    AnswerCase{"WrongParameter", "/thumb/photo/a.txt?size=x", 400, 1},
                    AnswerCase{"WrongParameterWithNoneLeft", "/thumb/photo/a.txt?size=x", 400,
                               kAll},
                    AnswerCase{"Metrics", "/metrics", 200, 1},
                    AnswerCase{"MetricsWithNoneLeft", "/metrics", 200, kAll}),
    kit::CaseName());

}  // namespace
}  // namespace vexathumb::web
