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
    void refused_data();
    void refused();
    void arguments();
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

void EncoderTest::refused_data()
{
    QTest::addColumn<QByteArray>("key");
    QTest::addColumn<QByteArrayList>("texts");
    const auto key = QByteArray::fromStdString(kKey);
    const auto text = QByteArray::fromStdString(kText);
    constexpr auto kForm = QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals;

    QByteArrayList flipped;
    QByteArrayList cut;
    const QByteArray binary = QByteArray::fromBase64(text, kForm);
    for (int bit = 0; bit < binary.size() * 8; ++bit) {
        QByteArray changed = binary;
        changed[bit / 8] = char(changed[bit / 8] ^ (1 << bit % 8));
        flipped << changed.toBase64(kForm);
    }
    for (int length = 0; length < text.size(); ++length)
        cut << text.left(length);
    QTest::newRow("one bit flipped") << key << flipped;
    QTest::newRow("cut") << key << cut;
    QTest::newRow("key without its NUL") << key.left(34) << QByteArrayList{text};
    // Whether the last letter has bits to spare depends on the length.
    const QByteArray spare =
        QByteArray::fromStdString(hq::encoder::encode(kKey, kPlain.substr(1)).value());
    QByteArray spareBitSet = spare;
    spareBitSet[spare.size() - 1] = char(spare.back() + 1);
    QTest::newRow("not canonical")
        << key << QByteArrayList{text + "=",  text + "\n", " " + text,
                                 text + "AA", text + '\0', ":x" + text,
                                 spareBitSet, spare + "=", QByteArray(text).replace('_', '/')};
}

void EncoderTest::refused()
{
    QFETCH(QByteArray, key);
    QFETCH(QByteArrayList, texts);
    for (const QByteArray &text : texts) {
        char *output = nullptr;
        uint32_t size = 7;
        QVERIFY2(!hqXCDecode(key.data(), uint32_t(key.size()), text.data(), uint32_t(text.size()),
                             0, 0, &output, &size),
                 text);
        QVERIFY(!output && size == 0);
        QCOMPARE(hqOSGetLastError(), 87u);
    }
}

void EncoderTest::arguments()
{
    char *output = nullptr;
    uint32_t size = 0;
    QVERIFY(!hqXCEncode(nullptr, 35, "a", 1, 0, 0, &output, &size));
    QVERIFY(!hqXCEncode("k", 1, nullptr, 1, 0, 0, &output, &size));
    QVERIFY(!hqXCEncode("k", 1, "a", 1, 0, 0, nullptr, &size));
    QVERIFY(!hqXCEncode("k", 1, "a", 1, 0, 0, &output, nullptr));
    QCOMPARE(output, nullptr);
}

PELLORY_TEST_MAIN(EncoderTest, QCoreApplication)
#include "tst_encoder.moc"
