#include "base/Base64.h"

#include <cstdint>
#include <cstdlib>
#include <string>

/// What was decoded holds no zero byte and so must come back from its own encoding.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    std::string decoded;
    decodeBase64(&text, &decoded);
    std::string code;
    std::string again;
    if (!encodeBase64(&decoded, &code) || !decodeBase64(&code, &again) || again != decoded)
        std::abort();
    return 0;
}
