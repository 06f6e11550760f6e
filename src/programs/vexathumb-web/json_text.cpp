#include "programs/vexathumb-web/json_text.h"

#include <nlohmann/json.hpp>

namespace vexathumb::web {

std::string JsonString(const std::string& bytes) {
  return nlohmann::json(bytes).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

}  // namespace vexathumb::web
