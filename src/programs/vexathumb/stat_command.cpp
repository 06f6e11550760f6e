#include <cstdio>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "programs/vexathumb/columns.h"
#include "programs/vexathumb/commands.h"
#include "programs/vexathumb/counted.h"
#include "programs/vexathumb/named_paths.h"
#include "programs/vexathumb/quantity.h"
#include "programs/vexathumb/report.h"
#include "service/store/free_boxes.h"
#include "service/store/store_figures.h"
#include "vexaplatform/settings.h"

namespace vexathumb::program {
namespace {

using service::FileCount;
using service::StoreFigures;
using service::StoreOwner;

struct StatOptions {
  std::vector<std::string> names;
  bool json = false;
};

const char* NameOf(StoreOwner owner) {
  switch (owner) {
    case StoreOwner::kPhotoAlbum:
      return "photo album";
    case StoreOwner::kFileManager:
      return "file manager";
    case StoreOwner::kVideo:
      return "video application";
    case StoreOwner::kAvatar:
      return "avatars";
    case StoreOwner::kFailure:
      return "failures";
    case StoreOwner::kTemporary:
      return "temporary";
    case StoreOwner::kOther:
      break;
  }
  return "other";
}

uint64_t FreeBoxSpace() {
  return service::FreeBoxLimitsFrom(vexaplatform::CurrentSettings()->service).bytes_of_store;
}

// "image/jpeg" as "jpeg".
std::string ShortType(const std::string& type) {
  return type.empty() ? "-" : type.substr(type.find('/') + 1);
}

std::string Share(const FileCount& count) {
  const auto per_mille = count.current * 1000 / count.files;
  return std::to_string(per_mille / 10) + "." + std::to_string(per_mille % 10) + " %";
}

// Of the kinds whose freshness somebody looks at.
FileCount Comparable(const StoreFigures& figures) {
  FileCount sum;
  for (const auto& [kind, count] : figures.kinds) {
    if (!IsFreshnessKept(kind.owner)) continue;
    sum.files += count.files;
    sum.current += count.current;
  }
  return sum;
}

FileCount All(const StoreFigures& figures) {
  FileCount sum;
  for (const auto& [kind, count] : figures.kinds) {
    sum.files += count.files;
    sum.bytes += count.bytes;
  }
  return sum;
}

void PrintTable(const StoreFigures& figures) {
  Columns table({"application", "size", "type", "files", "bytes", "current"});
  for (const auto& [kind, count] : figures.kinds) {
    table.Add({NameOf(kind.owner), kind.size.empty() ? "-" : kind.size, ShortType(kind.type),
               std::to_string(count.files), std::to_string(count.bytes),
               IsFreshnessKept(kind.owner) ? Share(count) : "-"});
  }
  const FileCount all = All(figures);
  const FileCount comparable = Comparable(figures);
  std::cout << table.Text() << Counted(figures.directories, "source has", "sources have") << " "
            << Counted(all.files, "file", "files") << ", " << SizeText(all.bytes);
  if (comparable.files > 0) std::cout << "; " << Share(comparable) << " current";
  std::cout << "\n";
  if (figures.free_boxes.files > 0) {
    std::cout << "Free boxes and avatars: " << Counted(figures.free_boxes.files, "file", "files")
              << ", " << SizeText(figures.free_boxes.bytes) << " of " << SizeText(FreeBoxSpace())
              << " that a share may have\n";
  }
  std::cout << Counted(figures.orphans, "store directory has", "store directories have")
            << " lost the source: " << Counted(figures.in_orphans.files, "file", "files") << ", "
            << SizeText(figures.in_orphans.bytes) << "\n";
}

void PrintDocument(const StoreFigures& figures) {
  Json kinds = Json::array();
  for (const auto& [kind, count] : figures.kinds) {
    kinds.push_back({{"application", NameOf(kind.owner)},
                     {"size", kind.size.empty() ? Json() : Json(kind.size)},
                     {"type", kind.type.empty() ? Json() : Json(kind.type)},
                     {"files", count.files},
                     {"bytes", count.bytes},
                     {"current", IsFreshnessKept(kind.owner) ? Json(count.current) : Json()}});
  }
  const FileCount all = All(figures);
  const FileCount comparable = Comparable(figures);
  PrintJson({{"sources", figures.directories},
             {"files", all.files},
             {"bytes", all.bytes},
             {"current", comparable.current},
             {"outdated", comparable.files - comparable.current},
             {"kinds", kinds},
             {"free_boxes",
              {{"files", figures.free_boxes.files},
               {"bytes", figures.free_boxes.bytes},
               {"limit", FreeBoxSpace()}}},
             {"orphans",
              {{"directories", figures.orphans},
               {"files", figures.in_orphans.files},
               {"bytes", figures.in_orphans.bytes}}}});
}

ExitCode RunStat(const StatOptions& options) {
  NamedPaths named(options.names);
  StoreFigures figures;
  for (const std::string& path : named.paths()) {
    AddStoreFigures(path, &figures, [&named](const auto& folder, const auto& cause) {
      named.Unreadable(folder, cause);
    });
  }
  options.json ? PrintDocument(figures) : PrintTable(figures);
  return named.ExitCodeAfter(kDone);
}

}  // namespace

Run AddStatCommand(CLI::App& app) {
  const auto options = std::make_shared<StatOptions>();
  CLI::App* command = app.add_subcommand("stat", "Count what is stored, by application and size");
  command->add_option("PATH", options->names, "Files, and folders of files")->required();
  command->add_flag("--json", options->json, "Report as JSON");
  return [options] { return RunStat(*options); };
}

}  // namespace vexathumb::program
