// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "hqutil.h"
#include "testmain.h"

namespace {

const QByteArray kKey("0x000102030405060708090a0b0c0d0e0f\0", 35);
const QByteArray kPlain = "s3://AK:SK@s3.amazonaws.com/bucket/clip \xc3\xa9.mxf";
// The vector of docs/encrypted-form.md, computed without libsodium.
const QByteArray kText =
    "AUBBQkNERUZHSElKS0xNTk9QUVJTVFVWV08g73M_nViVzeykIJ2el9F5XKxl5orile2HKZLYukMLBad_"
    "j6Z8wxQ8NHt77BaFHIlDvzoVzIP3mJTpzosm";

template <typename Call>
QByteArray through(Call call, const QByteArray &key, const QByteArray &text)
{
    char *output = nullptr;
    uint32_t size = 7;
    const bool isDone = call(key.data(), uint32_t(key.size()), text.data(), uint32_t(text.size()),
                             0, 0, &output, &size) != 0;
    const QByteArray result = isDone ? QByteArray(output, int(size)) : "refused";
    hqXCFree(output);
    return result;
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
    QCOMPARE(through(hqXCDecode, kKey, kText), kPlain);
    for (const int length : {0, 1, 2, 3, 100'000}) {
        const QByteArray plain(length, '\0');
        const QByteArray text = through(hqXCEncode, kKey, plain);
        QVERIFY2(text != through(hqXCEncode, kKey, plain), "the nonce came twice");
        QCOMPARE(through(hqXCDecode, kKey, text), plain);
    }
}

void EncoderTest::refused()
{
    // Other spellings; less than all; each letter another one.
    QByteArrayList others{kText + "=",  kText + "\n", " " + kText,
                          kText + '\0', ":x" + kText, QByteArray(kText).replace('_', '/')};
    for (int at = 0; at < kText.size(); ++at)
        others << kText.left(at) << QByteArray(kText).replace(at, 1, kText[at] == 'B' ? "A" : "B");
    for (const QByteArray &other : others)
        QVERIFY2(through(hqXCDecode, kKey, other) == "refused", other);
    QCOMPARE(through(hqXCDecode, kKey.left(34), kText), "refused"); // the key without its NUL
}

PELLORY_TEST_MAIN(EncoderTest, QCoreApplication)
#include "tst_encoder.moc"
