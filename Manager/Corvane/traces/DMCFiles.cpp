#include "Corvane/traces/DMCFiles.h"

#include "Corvane/support/Text.h"
#include "Platform/File.h"
#include "config/DiagConfig.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <set>

namespace corvane {

namespace fs = std::filesystem;

namespace {

constexpr const char* kExtension = ".json";
constexpr const char* kGroups = "groups";
constexpr std::size_t kLargestFile = 65536;

struct BuiltIn {
    std::string_view name;
    DiagGroups groups;
};
constexpr BuiltIn kBuiltIns[] = {
    {diag::config::kDefaultPrimaryDMCFile,
     DiagGroup::NAS | DiagGroup::RRC | DiagGroup::Broadcast | DiagGroup::Paging | DiagGroup::Log | DiagGroup::Measurements},
    {diag::config::kThroughputDMCFile, DiagGroup::Measurements | DiagGroup::Throughput},
    {diag::config::kDefaultSleepDMCFile, DiagGroup::NAS | DiagGroup::Paging},
    {diag::config::kNoneDMCFile, 0},
};

Result<DiagGroups> parse(const fs::path& path) {
    const auto refuse = [&](const std::string& why) {
        return Refusal::invalidArgument("The DMC file " + path.string() + " can't be used: " + why + ".");
    };
    const platform::FileContent file = platform::readFile(path, kLargestFile);
    if (!file.problem.empty()) {
        return refuse(file.problem);
    }
    const auto json = nlohmann::json::parse(file.bytes, nullptr, false);
    if (!json.is_object() || json.size() != 1 || !json.contains(kGroups) || !json.at(kGroups).is_array()) {
        return refuse(R"(it must be an object like {"groups": ["NAS", "RRC"]})");
    }
    DiagGroups groups = 0;
    for (const auto& entry : json.at(kGroups)) {
        const auto* name = entry.get_ptr<const std::string*>();
        const auto* known = name == nullptr ? kDiagGroupNames.end() : std::ranges::find(kDiagGroupNames, *name);
        if (known == kDiagGroupNames.end()) {
            return refuse("there is no group " + entry.dump(-1, ' ', true, nlohmann::json::error_handler_t::replace) +
                          "; there are " + listed(kDiagGroupNames, ", "));
        }
        groups |= 1U << (known - kDiagGroupNames.begin());
    }
    return groups;
}

std::string namesIn(const fs::path& folder) {
    std::string names = listed(kBuiltIns, ", ", &BuiltIn::name);
    std::set<std::string> files;
    std::error_code error;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
        if (entry->path().extension() == kExtension) {
            files.insert(entry->path().stem());
        }
    }
    for (const std::string& file : files) {
        names.append(", ").append(file);
    }
    return names;
}

}  // namespace

Result<DiagGroups> readDMCFile(const fs::path& folder, std::string_view name) {
    for (const BuiltIn& builtIn : kBuiltIns) {
        if (builtIn.name == name) {
            return builtIn.groups;
        }
    }
    const fs::path path = folder / (std::string(name) + kExtension);
    std::error_code unknown;
    return fs::is_regular_file(path, unknown)
               ? parse(path)
               : Refusal::invalidArgument("There is no DMC file '" + std::string(name) + "'; there are " + namesIn(folder) + ".");
}

}  // namespace corvane
