#include "programs/vexathumb-web/metrics_handler.h"

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <system_error>

#include "programs/vexathumb-web/metrics.h"
#include "programs/vexathumb-web/problem.h"
#include "programs/vexathumb-web/query.h"
#include "programs/vexathumb-web/response.h"
#include "programs/vexathumb-web/workers.h"
#include "service/build/build_settings.h"

namespace vexathumb::web {
namespace {

using Address = std::array<uint8_t, 16>;

bool IsIn(const Address& address, const vexaplatform::Network& network) {
  constexpr int kBits = 8;
  for (int bit = 0; bit < network.prefix; ++bit) {
    const auto byte = static_cast<size_t>(bit / kBits);
    const unsigned differing = address[byte] ^ static_cast<unsigned>(network.address[byte]);
    if ((differing & (0x80U >> static_cast<unsigned>(bit % kBits))) != 0) return false;
  }
  return true;
}

Load LoadNow(const vexaplatform::ServiceSettings& settings) {
  Load load;
  load.limits = service::BuildLimitsFrom(settings);
  try {
    load.workers = CountWorkers(settings.lock_dir);
    load.queue = service::LookAtQueue(settings.lock_dir, load.limits);
  } catch (const std::system_error&) {
    throw Problem(503, "The lock folder cannot be used.");
  }
  return load;
}

}  // namespace

bool IsInNetworks(const std::string& address, const std::vector<vexaplatform::Network>& networks) {
  const bool is_v4 = address.find(':') == std::string::npos;
  const std::string mapped = (is_v4 ? "::ffff:" : "") + address;
  Address bytes = {};
  if (inet_pton(AF_INET6, mapped.c_str(), bytes.data()) != 1) return false;
  return std::any_of(networks.begin(), networks.end(),
                     [&](const vexaplatform::Network& network) { return IsIn(bytes, network); });
}

void SendMetrics(const Request& request, const vexaplatform::Settings& settings) {
  // Of what another server passes on, only that one knows who asks.
  const bool may_ask =
      !request.is_forwarded && IsInNetworks(request.client, settings.service.metrics);
  if (!may_ask || !request.path.empty()) throw NotFound();
  const Query none(request.query, {});
  SendMetricsText(MetricsText(settings.service.lock_dir, LoadNow(settings.service)), request);
}

}  // namespace vexathumb::web
