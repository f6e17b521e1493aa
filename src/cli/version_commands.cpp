// The commands that list a package's kept versions and bring one back.
#include <ctime>
#include <iostream>

#include "cli/cli.h"
#include "document/package_versions.h"
#include "document/show_document.h"

namespace brellow::cli {

namespace {

std::string localTime(std::int64_t unixMs) {
    const std::time_t seconds = static_cast<std::time_t>(unixMs / 1000);
    std::tm local{};
    localtime_r(&seconds, &local);
    char text[32];
    return std::string(text, std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local));
}

}  // namespace

int runVersions(const Arguments& args) {
    if (args.size() != 1) return complain(kExitUsage, "versions: expected PKG");
    auto versions = listVersions(args[0]);
    if (!versions) return complain(kExitFailed, versions.error().message);
    std::size_t position = 0;
    for (const PackageVersion& version : *versions) {
        std::cout << ++position << '\t' << version.id << '\t' << localTime(version.savedAtUnixMs)
                  << '\t'
                  << (version.stingCount ? std::to_string(*version.stingCount) + " sting(s)"
                                         : std::string("unreadable"))
                  << '\n';
    }
    return kExitOk;
}

int runRestore(const Arguments& args) {
    if (args.size() != 2) return complain(kExitUsage, "restore: expected PKG VERSION");
    const std::filesystem::path package = args[0];
    ShowDocument document;
    if (auto read = document.read(package); !read)
        return complain(kExitFailed, read.error().message);
    if (auto restored = document.restoreVersion(package, args[1]); !restored) {
        return complain(kExitFailed, restored.error().message);
    }
    // Saving keeps the state being replaced as the newest version, so this can be undone.
    if (auto saved = document.save(package); !saved) {
        return complain(kExitFailed, saved.error().message);
    }
    return kExitOk;
}

}  // namespace brellow::cli
