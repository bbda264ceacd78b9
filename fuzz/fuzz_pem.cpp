// PEM decoding of arbitrary text under a label taken from the input (the
// bytes before the first newline, at most 32), and an encode/decode round
// trip of the remaining bytes under that label.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "TEVRA_Stream.h"
#include "TEVRA_Util.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const void *nl = std::memchr(data, '\n', size < 33 ? size : 33);
    if (nl == nullptr)
        return 0;
    size_t label_length = static_cast<size_t>(static_cast<const uint8_t *>(nl) - data);
    std::string label(reinterpret_cast<const char *>(data), label_length);
    const uint8_t *text = data + label_length + 1;
    long n = static_cast<long>(size - label_length - 1);

    unsigned char *out = nullptr;
    long length = 0;
    if (tevra_pemdecode(label.c_str(), text, n, &out, &length) == 1)
        tevra_free(out);

    // Labels with a zero byte are cut there, as a C string is.
    if (n > 0 && tevra_pemencode(label.c_str(), text, n, &out, &length) == 1) {
        unsigned char *back = nullptr;
        long back_length = 0;
        if (std::strlen(label.c_str()) == label.size() &&
            label.find("-----END ") == std::string::npos &&
            label.find("-----BEGIN ") == std::string::npos) {
            if (tevra_pemdecode(label.c_str(), out, length, &back, &back_length) != 1 ||
                back_length != n || std::memcmp(back, text, static_cast<size_t>(n)) != 0)
                abort();
            tevra_free(back);
        }
        tevra_free(out);
    }
    return 0;
}
