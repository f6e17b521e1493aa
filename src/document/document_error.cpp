#include "document/document_error.h"

namespace brellow {

DocumentError DocumentError::packageUnreadable() {
    return {Kind::packageUnreadable, kCocoaErrorDomain, kFileReadCorruptFile,
            "show.json missing or unreadable"};
}

DocumentError DocumentError::decoding(std::string message) {
    return {Kind::decoding, "ShowDecoding", 1, std::move(message)};
}

DocumentError DocumentError::encoding(std::string message) {
    return {Kind::encoding, "ShowEncoding", 1, std::move(message)};
}

DocumentError DocumentError::io(int errorNumber, std::string message) {
    return {Kind::io, "POSIX", errorNumber, std::move(message)};
}

DocumentError DocumentError::incomplete(std::string message) {
    return {Kind::incomplete, "ShowSave", 1, std::move(message)};
}

DocumentError DocumentError::noSuchVersion(std::string message) {
    return {Kind::noSuchVersion, "ShowVersions", 1, std::move(message)};
}

}  // namespace brellow
