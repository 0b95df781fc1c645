#include "base/Base64.h"

#include "target.h"

/// What was decoded holds no zero byte and so must come back from its own encoding.
void fuzz(std::string_view input) {
    const std::string text(input);
    std::string decoded;
    decodeBase64(&text, &decoded);
    std::string code;
    std::string again;
    require(encodeBase64(&decoded, &code) && decodeBase64(&code, &again) && again == decoded);
}
