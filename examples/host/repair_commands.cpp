#include <cstdio>
#include <memory>
#include <string>

#include "commands.h"
#include "mpg/mpg.h"

namespace host {

void AddRepairCommands(CLI::App& app) {
  const auto path = std::make_shared<std::string>();
  CLI::App* const fix =
      app.add_subcommand("fix-flv", "Write an FLV file's real duration into its header");
  fix->add_option("file", *path)->required();
  fix->callback([path] {
    RequireSuccess("fix-flv", FLV_FixDuration(path->c_str()), {{*path}});
    std::printf("repaired %s\n", path->c_str());
  });
}

}  // namespace host
