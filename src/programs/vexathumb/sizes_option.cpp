#include "programs/vexathumb/sizes_option.h"

#include "common/util/util.h"

namespace vexathumb::program {

void AddSizesOption(CLI::App* command, std::vector<std::string>* sizes) {
  command->add_option("--sizes", *sizes, "Sizes to build (all)")
      ->type_name("small,medium,big,large,xlarge")
      ->allow_extra_args(false)
      ->delimiter(',')
      ->check(CLI::IsMember({kSmall, kMedium, kBig, kLarge, kExtraLarge}));
}

}  // namespace vexathumb::program
