// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QXmlStreamReader>

#include <string>

namespace hq {

// Reads the XML that a server answers with, element by element, without trusting it: a tag or a
// text of more than 16 KiB, an element with more than 32 attributes or below 16 others, and any
// document type are failures, since the reader's work can grow with their square. So is a stop of
// the thread. After a failure nothing is found any more.
class XmlDocument
{
public:
    // `text` is kept by reference.
    explicit XmlDocument(const std::string &text);

    // Enters the next child of the element that it stands in, at first the root; false at the
    // element's end, which is passed.
    bool nextChild();
    // Of the element entered last, without a namespace.
    QStringView name() const { return m_reader.name(); }
    // Both pass the end of the element entered last. The text of its children is not its own.
    std::string text();
    void skip();
    // Whether the root has been read to its end.
    bool isComplete() const { return !m_failed && m_depth == 0 && m_reader.isEndElement(); }

private:
    QXmlStreamReader::TokenType advance();
    bool feed();
    bool isHarmlessStart(qint64 length) const;

    const std::string &m_text;
    std::size_t m_fed = 0;        // bytes that the reader has
    std::size_t m_fedAtToken = 0; // when it gave the last token
    qint64 m_tokenEnd = 0;        // characters
    QXmlStreamReader m_reader;
    int m_depth = 0;
    bool m_failed = false;
};

} // namespace hq
