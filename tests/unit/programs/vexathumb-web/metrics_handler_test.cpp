#include "programs/vexathumb-web/metrics_handler.h"

#include <gtest/gtest.h>

#include <string>

#include "kit/case_name.h"
#include "kit/files.h"
#include "kit/temp_dir.h"
#include "programs/vexathumb-web/problem.h"

namespace vexathumb::web {
namespace {

// What a line of the settings says of a client.
struct ClientCase {
  const char* name;
  const char* setting;
  const char* client;
  bool is_in;
};

void PrintTo(const ClientCase& client, std::ostream* out) { *out << client.name; }

class MetricsClient : public testing::TestWithParam<ClientCase> {};

TEST_P(MetricsClient, IsInTheNetworksOfTheSettings) {
  const kit::TempDir folder;
  const std::string setting = GetParam().setting;
  kit::WriteFile(folder / "platform.ini",
                 setting.empty() ? "" : "[service]\nmetrics = " + setting + "\n");
  setenv("VEXATHUMB_CONFIG", (folder / "platform.ini").c_str(), 1);
  const auto settings = vexaplatform::CurrentSettings();
  unsetenv("VEXATHUMB_CONFIG");
  EXPECT_EQ(settings->error, "");
  EXPECT_EQ(IsInNetworks(GetParam().client, settings->service.metrics), GetParam().is_in);
}

INSTANTIATE_TEST_SUITE_P(
    , MetricsClient,
    testing::Values(
        ClientCase{"ThisMachineByDefault", "", "127.0.0.1", true},
        ClientCase{"AnyOfItsAddresses", "", "127.255.3.4", true},
        ClientCase{"ThisMachineByIpv6", "", "::1", true},
        ClientCase{"ThisMachineByAMappedAddress", "", "::ffff:127.0.0.1", true},
        ClientCase{"OthersByDefault", "", "192.0.2.1", false},
        ClientCase{"NextToLoopback", "", "128.0.0.1", false},
        ClientCase{"NextToLoopbackOfIpv6", "", "::2", false},
        ClientCase{"NobodyKnown", "", "", false}, ClientCase{"NoAddress", "", "localhost", false},
        ClientCase{"AddressAndMore", "", "127.0.0.1, 192.0.2.1", false},
        ClientCase{"NobodyWhenOff", "off", "127.0.0.1", false},
        ClientCase{"InANetwork", "192.0.2.0/25", "192.0.2.127", true},
        ClientCase{"BesideANetwork", "192.0.2.0/25", "192.0.2.128", false},
        ClientCase{"InTheSecondNetwork", "loopback 2001:db8::/33", "2001:db8:7fff::1", true},
        ClientCase{"BesideTheSecondNetwork", "loopback 2001:db8::/33", "2001:db8:8000::1", false},
        ClientCase{"ThisMachineBesideANetwork", "192.0.2.0/24 loopback", "127.0.0.1", true},
        ClientCase{"ThisMachineWhereItIsNotNamed", "192.0.2.0/24", "127.0.0.1", false},
        ClientCase{"TheOneAddress", "192.0.2.7", "192.0.2.7", true},
        ClientCase{"NextToTheOneAddress", "192.0.2.7", "192.0.2.6", false},
        ClientCase{"Anybody", "0.0.0.0/0", "203.0.113.9", true}),
    kit::CaseName());

// Asks for the figures where the locks lie in that folder, and gives the status of the refusal.
int Refusal(const Request& request, const std::string& lock_folder) {
  vexaplatform::Settings settings;
  settings.service.lock_dir = lock_folder;
  try {
    SendMetrics(request, settings);
  } catch (const Problem& problem) {
    return problem.status();
  }
  return 0;
}

TEST(MetricsRefusal, SaysWhatIsWrongToThoseAloneWhoMayAsk) {
  Request request;
  request.client = "127.0.0.1";
  EXPECT_EQ(Refusal(request, "/dev/null/locks"), 503);
  request.path = {"more"};
  EXPECT_EQ(Refusal(request, "/dev/null/locks"), 404);
  request.path = {};
  request.is_forwarded = true;
  EXPECT_EQ(Refusal(request, "/dev/null/locks"), 404);
  request.is_forwarded = false;
  request.client = "192.0.2.1";
  EXPECT_EQ(Refusal(request, "/dev/null/locks"), 404);
}

}  // namespace
}  // namespace vexathumb::web
