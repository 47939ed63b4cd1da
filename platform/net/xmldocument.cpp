// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "net/xmldocument.h"

#include "stoptoken.h"

#include <algorithm>
#include <utility>

namespace hq {

namespace {
constexpr std::size_t kMaxTokenBytes = 16 * 1024;
constexpr int kMaxAttributes = 32;
constexpr int kMaxDepth = 16;
} // namespace

XmlDocument::XmlDocument(const std::string &text) : m_text(text)
{
    // Every lookup of a prefix would go through all that are declared.
    m_reader.setNamespaceProcessing(false);
}

// Gives the reader the next piece; false when there is none, when a whole one did not end the token
// that it is in, or when the thread is stopped: no piece takes long.
bool XmlDocument::feed()
{
    if (m_fed == m_text.size() || m_fed - m_fedAtToken >= kMaxTokenBytes || isStopped())
        return false;
    const std::size_t size = std::min(m_text.size() - m_fed, kMaxTokenBytes);
    m_reader.addData(QByteArray::fromRawData(m_text.data() + m_fed, static_cast<int>(size)));
    m_fed += size;
    return true;
}

bool XmlDocument::isHarmlessStart(qint64 length) const
{
    // Attributes are looked at where there is room for so many.
    return length <= static_cast<qint64>(kMaxTokenBytes) && m_depth <= kMaxDepth &&
           (length < kMaxAttributes || m_reader.attributes().size() <= kMaxAttributes);
}

// To the next token; Invalid at a failure.
QXmlStreamReader::TokenType XmlDocument::advance()
{
    auto token = QXmlStreamReader::Invalid;
    while (!m_failed && token == QXmlStreamReader::Invalid) {
        token = m_reader.readNext();
        const qint64 start = std::exchange(m_tokenEnd, m_reader.characterOffset());
        if (token == QXmlStreamReader::StartElement) {
            ++m_depth;
            m_failed = !isHarmlessStart(m_tokenEnd - start);
        } else if (token == QXmlStreamReader::EndElement) {
            --m_depth;
        } else if (token == QXmlStreamReader::DTD) {
            m_failed = true;
        } else if (token == QXmlStreamReader::Invalid) {
            m_tokenEnd = start;
            m_failed = m_reader.error() != QXmlStreamReader::PrematureEndOfDocumentError || !feed();
            continue;
        }
        m_fedAtToken = m_fed;
    }
    return m_failed ? QXmlStreamReader::Invalid : token;
}

bool XmlDocument::nextChild()
{
    auto token = advance();
    while (token != QXmlStreamReader::StartElement && token != QXmlStreamReader::EndElement &&
           token != QXmlStreamReader::EndDocument && token != QXmlStreamReader::Invalid)
        token = advance();
    return token == QXmlStreamReader::StartElement;
}

std::string XmlDocument::text()
{
    std::string text;
    for (const int depth = m_depth; m_depth >= depth;) {
        const auto token = advance();
        if (token == QXmlStreamReader::Invalid)
            break;
        if (token == QXmlStreamReader::Characters && m_depth == depth) {
            const QByteArray utf8 = m_reader.text().toUtf8();
            text.append(utf8.constData(), static_cast<std::size_t>(utf8.size()));
        }
    }
    return text;
}

void XmlDocument::skip()
{
    const int depth = m_depth;
    while (m_depth >= depth && advance() != QXmlStreamReader::Invalid) {
    }
}

} // namespace hq
