// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "encoder.h"

#include <sodium.h>

namespace hq::encoder {

namespace {

constexpr unsigned char kVersion = 1;
constexpr unsigned char kPersonal[crypto_generichash_blake2b_PERSONALBYTES + 1] =
    "Pellory.stream.1";
constexpr std::size_t kNonceSize = crypto_aead_xchacha20poly1305_ietf_NPUBBYTES;
constexpr std::size_t kTagSize = crypto_aead_xchacha20poly1305_ietf_ABYTES;
constexpr std::size_t kHeaderSize = 1 + kNonceSize;
constexpr int kVariant = sodium_base64_VARIANT_URLSAFE_NO_PADDING;
static_assert(std::tuple_size_v<Nonce> == kNonceSize);

bool isReady()
{
    static const bool ready = sodium_init() >= 0;
    return ready;
}

const unsigned char *bytes(std::string_view text)
{
    return reinterpret_cast<const unsigned char *>(text.data());
}

unsigned char *bytes(std::string &text)
{
    return reinterpret_cast<unsigned char *>(text.data());
}

// The cipher's key, wiped on destruction.
class CipherKey
{
public:
    explicit CipherKey(std::string_view key)
    {
        crypto_generichash_blake2b_salt_personal(m_bytes, sizeof m_bytes, bytes(key), key.size(),
                                                 nullptr, 0, nullptr, kPersonal);
    }
    ~CipherKey() { sodium_memzero(m_bytes, sizeof m_bytes); }
    CipherKey(const CipherKey &) = delete;
    CipherKey &operator=(const CipherKey &) = delete;

    const unsigned char *data() const { return m_bytes; }

private:
    unsigned char m_bytes[crypto_aead_xchacha20poly1305_ietf_KEYBYTES];
};

std::string toText(const std::string &binary)
{
    std::string text(sodium_base64_encoded_len(binary.size(), kVariant), '\0');
    sodium_bin2base64(text.data(), text.size(), bytes(binary), binary.size(), kVariant);
    text.pop_back(); // the NUL that the length counts
    return text;
}

} // namespace

std::optional<std::string> encode(std::string_view key, std::string_view plain)
{
    if (!isReady())
        return std::nullopt;
    Nonce nonce;
    randombytes_buf(nonce.data(), nonce.size());
    return encode(key, plain, nonce);
}

std::optional<std::string> encode(std::string_view key, std::string_view plain, const Nonce &nonce)
{
    if (!isReady())
        return std::nullopt;
    std::string binary(kHeaderSize + plain.size() + kTagSize, '\0');
    binary[0] = static_cast<char>(kVersion);
    std::copy(nonce.begin(), nonce.end(), bytes(binary) + 1);
    crypto_aead_xchacha20poly1305_ietf_encrypt(bytes(binary) + kHeaderSize, nullptr, bytes(plain),
                                               plain.size(), &kVersion, 1, nullptr, nonce.data(),
                                               CipherKey(key).data());
    return toText(binary);
}

std::optional<std::string> decode(std::string_view key, std::string_view text)
{
    if (!isReady())
        return std::nullopt;
    std::string binary(text.size(), '\0');
    std::size_t size = 0;
    if (sodium_base642bin(bytes(binary), binary.size(), text.data(), text.size(), nullptr, &size,
                          nullptr, kVariant) != 0)
        return std::nullopt;
    binary.resize(size);
    if (size < kHeaderSize + kTagSize || bytes(binary)[0] != kVersion || toText(binary) != text)
        return std::nullopt;
    std::string plain(size - kHeaderSize - kTagSize, '\0');
    if (crypto_aead_xchacha20poly1305_ietf_decrypt(
            bytes(plain), nullptr, nullptr, bytes(binary) + kHeaderSize, size - kHeaderSize,
            &kVersion, 1, bytes(binary) + 1, CipherKey(key).data()) != 0)
        return std::nullopt;
    return plain;
}

} // namespace hq::encoder
