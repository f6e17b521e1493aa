// Feeds arbitrary bytes to the show decoder. Whatever decodes must encode, and decode again
// to the same show, in both styles.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "model/show_codec.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace brellow;
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    const auto show = decodeShow(bytes);
    if (!show) return 0;
    for (const auto style : {JsonStyle::file, JsonStyle::compact}) {
        const auto encoded = encodeShow(*show, style);
        if (!encoded) return 0;  // a number too large for a double reads as infinity
        const auto again = decodeShow(*encoded);
        if (!again || !(*again == *show)) std::abort();
    }
    return 0;
}
