#include "document/safe_name.h"

#include <algorithm>

#include "base/log.h"
#include "base/text.h"

namespace brellow {

bool isSafeFilename(std::string_view name, std::string_view extension) {
    if (name.empty() || name == "." || name == "..") return false;
    if (name.find('/') != std::string_view::npos || name.find('\\') != std::string_view::npos) {
        return false;
    }
    const auto dot = name.rfind('.');
    if (dot == std::string_view::npos) return false;
    if (toLowerUnicode(name.substr(dot + 1)) != extension) return false;
    return Uuid::parse(name.substr(0, dot)).has_value();
}

void sanitizeShow(Show& show, const Logger& log) {
    for (Page& page : show.pages) {
        for (Sting& sting : page.stings) {
            if (sting.waveformFilename &&
                !isSafeFilename(*sting.waveformFilename, kWaveformExtension)) {
                log.error("Clearing unsafe waveformFilename: %s", sting.waveformFilename->c_str());
                sting.waveformFilename.reset();
            }
        }
        std::erase_if(page.stings, [&](const Sting& sting) {
            if (isSafeFilename(sting.mediaFilename, kMediaExtension)) return false;
            log.error("Dropping sting with unsafe mediaFilename: %s", sting.mediaFilename.c_str());
            return true;
        });
    }
}

}  // namespace brellow
