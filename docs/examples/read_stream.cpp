// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// read_stream FILE...: prints the address that each stream file holds, plain or encrypted, as
// docs/encrypted-form.md describes it. Ends with 1 at a file that holds none.
//
//     g++ -std=c++17 -o read_stream read_stream.cpp -lsodium
#include <sodium.h>

#include <fstream>
#include <iostream>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

const unsigned char builtInKey[] = "0x9c4e17b2a05d38f6e1c7024b9da36f58"; // the NUL counts
const unsigned char personal[] = "Pellory.stream.1";
constexpr unsigned char version = 1;
constexpr std::size_t nonceSize = crypto_aead_xchacha20poly1305_ietf_NPUBBYTES;
constexpr std::size_t tagSize = crypto_aead_xchacha20poly1305_ietf_ABYTES;
constexpr int form = sodium_base64_VARIANT_URLSAFE_NO_PADDING;

std::optional<std::string> address(const std::string &content)
{
    if (content.compare(0, 2, ":x") != 0)
        return content;
    const std::string text = content.substr(2);
    Bytes data(text.size() + 1);
    std::size_t size = 0;
    // Refuses other characters, padding and spare bits that are set.
    if (sodium_base642bin(data.data(), data.size(), text.data(), text.size(), nullptr, &size,
                          nullptr, form) != 0 ||
        size < 1 + nonceSize + tagSize || data[0] != version)
        return std::nullopt;

    unsigned char key[crypto_aead_xchacha20poly1305_ietf_KEYBYTES];
    crypto_generichash_blake2b_salt_personal(key, sizeof key, builtInKey, sizeof builtInKey,
                                             nullptr, 0, nullptr, personal);
    const unsigned char *nonce = data.data() + 1;
    const unsigned char *rest = nonce + nonceSize;
    std::string plain(size - 1 - nonceSize - tagSize, '\0');
    if (crypto_aead_xchacha20poly1305_ietf_decrypt(reinterpret_cast<unsigned char *>(plain.data()),
                                                   nullptr, nullptr, rest, size - 1 - nonceSize,
                                                   &version, 1, nonce, key) != 0)
        return std::nullopt;
    return plain;
}

} // namespace

int main(int argc, char **argv)
{
    if (sodium_init() < 0)
        return 1;
    for (int i = 1; i < argc; ++i) {
        std::ifstream file(argv[i], std::ios::binary);
        const std::string content{std::istreambuf_iterator<char>(file), {}};
        const std::optional<std::string> found = file ? address(content) : std::nullopt;
        if (!found) {
            std::cerr << argv[i] << ": no stream file\n";
            return 1;
        }
        std::cout << *found << '\n';
    }
    return 0;
}
