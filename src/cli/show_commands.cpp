// The commands that create, print, re-save and edit show packages.
#include <cstdio>
#include <filesystem>
#include <iostream>

#include "cli/cli.h"
#include "cli/edit_keys.h"
#include "document/edit_command.h"
#include "document/show_document.h"
#include "model/show_codec.h"

namespace brellow::cli {

namespace fs = std::filesystem;

namespace {

bool pathExists(const fs::path& path) {
    std::error_code error;
    return fs::exists(fs::symlink_status(path, error));
}

bool samePath(const fs::path& a, const fs::path& b) {
    std::error_code error;
    return fs::equivalent(a, b, error);
}

int reportDocumentError(const DocumentError& error) {
    return complain(kExitFailed, error.message);
}

}  // namespace

int complain(int code, const std::string& message) {
    std::cerr << "brellow-cli: " << message << '\n';
    return code;
}

int runNew(const Arguments& args) {
    if (args.empty()) return complain(kExitUsage, "new: DEST missing");
    fs::path destination = args[0];
    std::string name = "Untitled Show";
    bool demo = false;
    for (std::size_t i = 1; i < args.size(); ++i) {
        if (args[i] == "--demo") {
            demo = true;
        } else if (args[i] == "--name" && i + 1 < args.size()) {
            name = args[++i];
        } else {
            return complain(kExitUsage, "new: unexpected argument " + args[i]);
        }
    }
    destination.replace_filename(preferredPackageName(destination.filename().string()));
    if (pathExists(destination))
        return complain(kExitFailed, destination.string() + " already exists");

    ShowDocument document;
    document.mutableShow().name = name;
    if (auto saved = document.save(destination); !saved) return reportDocumentError(saved.error());
    if (demo) {
        if (const int seeded = seedNewShow(destination); seeded != kExitOk) return seeded;
    }
    std::cout << destination.string() << '\n';
    return kExitOk;
}

int runShow(const Arguments& args) {
    if (args.size() != 1) return complain(kExitUsage, "show: expected PKG");
    ShowDocument document;
    if (auto read = document.read(args[0]); !read) return reportDocumentError(read.error());
    auto encoded = encodeShow(document.show(), JsonStyle::file);
    if (!encoded) return complain(kExitFailed, encoded.error().message);
    std::cout << *encoded;
    return kExitOk;
}

int runResave(const Arguments& args) {
    if (args.size() != 2) return complain(kExitUsage, "resave: expected PKG DEST");
    const fs::path source = args[0];
    const fs::path destination = args[1];
    if (pathExists(destination) && !samePath(source, destination)) {
        return complain(kExitFailed, destination.string() + " already exists");
    }
    ShowDocument document;
    if (auto read = document.read(source); !read) return reportDocumentError(read.error());
    if (auto saved = document.save(destination); !saved) return reportDocumentError(saved.error());
    return kExitOk;
}

int runEdit(const Arguments& args) {
    if (args.size() != 3) return complain(kExitUsage, "edit: expected PKG COMMAND JSON");
    const fs::path package = args[0];
    const std::string& name = args[1];
    if (!isEditCommandName(name)) return complain(kExitUsage, "edit: " + name + " is not an edit");
    const auto body = nlohmann::json::parse(args[2], nullptr, false);
    if (body.is_discarded()) return complain(kExitUsage, "edit: arguments are not valid JSON");
    if (auto unknown = unknownEditKey(name, body)) return complain(kExitUsage, "edit: " + *unknown);
    const auto command = parseEditCommand(name, body);
    if (!command) return complain(kExitUsage, "edit: arguments not accepted for " + name);

    ShowDocument document;
    if (auto read = document.read(package); !read) return reportDocumentError(read.error());
    const EditOutcome outcome = applyEditCommand(document, *command);
    if (!outcome.changed) {
        return complain(kExitFailed, "edit: nothing changed (unknown identifier or blank name)");
    }
    if (auto saved = document.save(package); !saved) return reportDocumentError(saved.error());
    if (outcome.createdPageID) std::cout << outcome.createdPageID->toString() << '\n';
    return kExitOk;
}

}  // namespace brellow::cli
