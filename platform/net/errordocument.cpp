// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "net/errordocument.h"

#include "net/xmldocument.h"

namespace hq {

S3ErrorDocument parseS3Error(const std::string &text)
{
    S3ErrorDocument error;
    XmlDocument xml(text);
    if (!xml.nextChild() || xml.name() != QLatin1String("Error"))
        return error;
    while (xml.nextChild()) {
        if (xml.name() == QLatin1String("Code"))
            error.code = xml.text();
        else if (xml.name() == QLatin1String("Message"))
            error.message = xml.text();
        else if (xml.name() == QLatin1String("Region"))
            error.region = xml.text();
        else if (xml.name() == QLatin1String("Endpoint"))
            error.endpoint = xml.text();
        else
            xml.skip();
    }
    return error;
}

} // namespace hq
