// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "base/encoder.h"
#include "hqutil.h"
#include "testmain.h"

#include <numeric>

namespace {

const QByteArray kKey("0x000102030405060708090a0b0c0d0e0f\0", 35);
const std::string kPlain = "s3://AK:SK@s3.amazonaws.com/bucket/clip \xc3\xa9.mxf";
// The vector of docs/encrypted-form.md, computed without libsodium.
const QByteArray kText =
    "AUBBQkNERUZHSElKS0xNTk9QUVJTVFVWV08g73M_nViVzeykIJ2el9F5XKxl5orile2HKZLYukMLBad_"
    "j6Z8wxQ8NHt77BaFHIlDvzoVzIP3mJTpzosm";

// Through one of the two calls; "refused" when it fails as it is to fail.
template <typename Call>
QByteArray through(Call call, const QByteArray &key, const QByteArray &text)
{
    char *output = nullptr;
    uint32_t size = 7;
    const bool done = call(key.data(), uint32_t(key.size()), text.data(), uint32_t(text.size()), 0,
                           0, &output, &size) != 0;
    const QByteArray result = output ? QByteArray(output, int(size)) : "refused";
    const bool isWhole = done && output && output[size] == '\0';
    hqXCFree(output);
    return isWhole || (!done && !output && size == 0 && hqOSGetLastError() == 87) ? result
                                                                                  : "broken";
}

} // namespace

class EncoderTest : public QObject
{
    Q_OBJECT
private slots:
    void roundTrip();
    void refused();
};

void EncoderTest::roundTrip()
{
    hq::encoder::Nonce nonce;
    std::iota(nonce.begin(), nonce.end(), static_cast<unsigned char>(0x40));
    QCOMPARE(hq::encoder::encode(kKey.toStdString(), kPlain, nonce).value(), kText.toStdString());
    QCOMPARE(through(hqXCDecode, kKey, kText).toStdString(), kPlain);
    for (const int length : {0, 1, 2, 3, 1000, 100000}) {
        const QByteArray plain(length, '\0');
        const QByteArray text = through(hqXCEncode, kKey, plain);
        QVERIFY2(text != through(hqXCEncode, kKey, plain), "the nonce came twice");
        QVERIFY(!text.contains('\0'));
        QCOMPARE(through(hqXCDecode, kKey, text), plain);
    }
}

void EncoderTest::refused()
{
    constexpr auto kForm = QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals;
    const QByteArray binary = QByteArray::fromBase64(kText, kForm);
    // Other spellings. Whether the last letter has bits to spare depends on the length.
    QByteArray spare = through(hqXCEncode, kKey, QByteArray::fromStdString(kPlain.substr(1)));
    spare.back() = char(spare.back() + 1);
    QByteArrayList others{
        kText + "=",  kText + "\n", " " + kText, kText + "AA",
        kText + '\0', ":x" + kText, spare,       QByteArray(kText).replace('_', '/')};
    for (int bit = 0; bit < binary.size() * 8; ++bit) {
        QByteArray flipped = binary;
        flipped[bit / 8] = char(flipped[bit / 8] ^ (1 << bit % 8));
        others << flipped.toBase64(kForm);
    }
    for (int length = 0; length < kText.size(); ++length)
        others << kText.left(length);
    for (const QByteArray &other : others)
        QVERIFY2(through(hqXCDecode, kKey, other) == "refused", other);
    QCOMPARE(through(hqXCDecode, kKey.left(34), kText), "refused"); // the key without its NUL
}

PELLORY_TEST_MAIN(EncoderTest, QCoreApplication)
#include "tst_encoder.moc"
