#pragma once
// Why a package could not be read or written.
#include <string>

namespace brellow {

struct DocumentError {
    enum class Kind {
        packageUnreadable,  // not a folder, or no readable "show.json"
        decoding,           // "show.json" is not a valid show
        encoding,           // the show cannot be written (a non-finite number)
        io,                 // the file system refused an operation
        incomplete,         // the new package would lack files its show.json names
        noSuchVersion,      // no kept version has the given id
    };

    Kind kind = Kind::io;
    std::string domain;  // error domain, as shown to users and administrators
    long code = 0;
    std::string message;

    static DocumentError packageUnreadable();
    static DocumentError decoding(std::string message);
    static DocumentError encoding(std::string message);
    static DocumentError io(int errorNumber, std::string message);
    static DocumentError incomplete(std::string message);
    static DocumentError noSuchVersion(std::string message);
};

inline constexpr const char* kCocoaErrorDomain = "NSCocoaErrorDomain";
inline constexpr long kFileReadCorruptFile = 259;

}  // namespace brellow
