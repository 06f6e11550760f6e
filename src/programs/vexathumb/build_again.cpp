#include "programs/vexathumb/build_again.h"

#include <utility>

#include "programs/vexathumb/build_report.h"
#include "service/build/build_settings.h"
#include "service/index/indexer.h"
#include "service/index/source_build.h"
#include "vexaplatform/settings.h"

namespace vexathumb::program {

ExitCode BuildAgain(std::vector<service::SourceItem> sources, std::vector<std::string> sizes,
                    bool json) {
  service::ListedSources listed(std::move(sources));
  BuildReport report(json ? BuildForm::kJson : BuildForm::kText,
                     [&listed] { return listed.size(); });
  service::RunSignals signals;
  service::IndexOptions index;
  index.build = service::SourceBuildOptionsFrom(vexaplatform::CurrentSettings()->service);
  index.build.sizes = std::move(sizes);
  index.build.retry_failed = true;
  index.jobs = service::Processors();
  const bool is_complete = service::Indexer(listed, index, signals, report).Run();
  report.Finish(is_complete);
  return report.Result(is_complete);
}

}  // namespace vexathumb::program
