#include "common/error/error.h"

namespace vexathumb {
namespace {

std::string Prefix(int code) { return "(E" + std::to_string(code) + ") "; }

}  // namespace

Error::Error(int code) : std::runtime_error(Prefix(code)), code_(code) {}

Error::Error(int code, const std::string& msg)
    : std::runtime_error(Prefix(code) + msg), code_(code), msg_(msg) {}

Error::Error(const Error& other) = default;

Error::~Error() = default;

}  // namespace vexathumb
