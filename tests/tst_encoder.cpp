// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "base/encoder.h"
#include "hqutil.h"
#include "testmain.h"

#include <cstring>
#include <numeric>

namespace {

const std::string kKey("0x000102030405060708090a0b0c0d0e0f\0", 35);
const std::string kPlain = "s3://AK:SK@s3.amazonaws.com/bucket/clip \xc3\xa9.mxf";
// The vector of docs/encrypted-form.md, computed without libsodium.
const std::string kText =
    "AUBBQkNERUZHSElKS0xNTk9QUVJTVFVWV08g73M_nViVzeykIJ2el9F5XKxl5orile2HKZLYukMLBad_"
    "j6Z8wxQ8NHt77BaFHIlDvzoVzIP3mJTpzosm";

} // namespace

class EncoderTest : public QObject
{
    Q_OBJECT
private slots:
    void vector();
    void roundTrip();
    void refused();
};

void EncoderTest::vector()
{
    hq::encoder::Nonce nonce;
    std::iota(nonce.begin(), nonce.end(), static_cast<unsigned char>(0x40));
    QCOMPARE(hq::encoder::encode(kKey, kPlain, nonce).value(), kText);
    QCOMPARE(hq::encoder::decode(kKey, kText).value(), kPlain);
}

void EncoderTest::roundTrip()
{
    for (const std::size_t length : {0u, 1u, 2u, 3u, 1000u, 100000u}) {
        const std::string plain(length, '\0');
        char *texts[2] = {nullptr, nullptr};
        uint32_t size = 1024;
        for (char *&text : texts) {
            QVERIFY(
                hqXCEncode(kKey.data(), 35, plain.data(), uint32_t(length), 0, 0, &text, &size));
            QCOMPARE(std::size_t(size), std::strlen(text));
        }
        QVERIFY2(std::strcmp(texts[0], texts[1]) != 0, "the nonce came twice");
        char *back = nullptr;
        QVERIFY(hqXCDecode(kKey.data(), 35, texts[0], size, 0, 0, &back, &size));
        QCOMPARE(std::string(back, size), plain);
        for (void *output : {texts[0], texts[1], back})
            hqXCFree(output);
    }
}

void EncoderTest::refused()
{
    const auto key = QByteArray::fromStdString(kKey);
    const auto text = QByteArray::fromStdString(kText);
    constexpr auto kForm = QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals;
    const auto refuses = [](const QByteArray &givenKey, const QByteArray &given) {
        char *output = nullptr;
        uint32_t size = 7;
        return !hqXCDecode(givenKey.data(), uint32_t(givenKey.size()), given.data(),
                           uint32_t(given.size()), 0, 0, &output, &size) &&
               !output && size == 0 && hqOSGetLastError() == 87;
    };
    const QByteArray binary = QByteArray::fromBase64(text, kForm);
    for (int bit = 0; bit < binary.size() * 8; ++bit) {
        QByteArray flipped = binary;
        flipped[bit / 8] = char(flipped[bit / 8] ^ (1 << bit % 8));
        QVERIFY2(refuses(key, flipped.toBase64(kForm)), QByteArray::number(bit));
    }
    for (int length = 0; length < text.size(); ++length)
        QVERIFY2(refuses(key, text.left(length)), QByteArray::number(length));
    QVERIFY(refuses(key.left(34), text)); // the key without its NUL
    // Other spellings. Whether the last letter has bits to spare depends on the length.
    QByteArray spare =
        QByteArray::fromStdString(hq::encoder::encode(kKey, kPlain.substr(1)).value());
    spare.back() = char(spare.back() + 1);
    for (const QByteArray &other : {text + "=", text + "\n", " " + text, text + "AA", text + '\0',
                                    ":x" + text, spare, QByteArray(text).replace('_', '/')})
        QVERIFY2(refuses(key, other), other);
}

PELLORY_TEST_MAIN(EncoderTest, QCoreApplication)
#include "tst_encoder.moc"
