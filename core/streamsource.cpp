// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "streamsource.h"

#include "filename.h"

#include <QHash>
#include <QSet>
#include <algorithm>
#include <numeric>
#include <vector>

QString streamBaseName(const StreamSource &source)
{
    // Relied on by whoever looks for the file of a clip: the first dot ends the name.
    const QString name = source.isFlow ? source.name : source.name.section(QLatin1Char('.'), 0, 0);
    return fileNameOnDisk(name);
}

QStringList distinctStreamNames(const QVector<StreamSource> &sources)
{
    QStringList names;
    QHash<QString, int> sharing;
    for (const StreamSource &source : sources) {
        names.append(streamBaseName(source));
        ++sharing[names.last().toCaseFolded()];
    }
    std::vector<int> order(std::size_t(sources.size()));
    std::iota(order.begin(), order.end(), 0);
    std::sort(order.begin(), order.end(),
              [&](int a, int b) { return sources[a].address < sources[b].address; });

    QSet<QString> taken;
    std::vector<int> numbered; // once every name that needs no number is taken
    for (const int i : order) {
        if (sharing.value(names[i].toCaseFolded()) > 1)
            names[i] = fileNameOnDisk(sources[i].name);
        const QString folded = names[i].toCaseFolded();
        if (taken.contains(folded))
            numbered.push_back(i);
        taken.insert(folded);
    }
    QHash<QString, int> last;
    for (const int i : numbered) {
        int &number = last[names[i].toCaseFolded()];
        QString name;
        do {
            number = std::max(number + 1, 2);
            name = names[i] + QLatin1Char('-') + QString::number(number);
        } while (taken.contains(name.toCaseFolded()));
        taken.insert(name.toCaseFolded());
        names[i] = name;
    }
    return names;
}
