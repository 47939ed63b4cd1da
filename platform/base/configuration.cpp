// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "base/configuration.h"

#include "base/lasterror.h"
#include "base/system.h"
#include "hqutil.h"

#include <QFile>
#include <QMap>
#include <QSettings>
#include <mutex>

namespace hq {

namespace {

constexpr std::uint32_t kFileCorrupt = 1392;

struct Pending
{
    std::mutex mutex;
    QMap<QString, QString> values;
};

Pending &pending()
{
    static Pending values;
    return values;
}

QString fullKey(const QString &section, const QString &key)
{
    QString result = section + QLatin1Char('/') + key;
    return result.replace(QLatin1Char('\\'), QLatin1Char('/'));
}

std::string storePath()
{
    const std::string directory = configDirectory();
    return directory.empty() ? directory : directory + "hqutil.ini";
}

bool check(const QSettings &store)
{
    switch (store.status()) {
    case QSettings::NoError:
        return true;
    case QSettings::AccessError:
        return fail(Error::AccessDenied);
    case QSettings::FormatError:
        break;
    }
    setLastSystemError(kFileCorrupt);
    return false;
}

// QSettings gives a file that it replaces the access of the old one, so a private one has to be
// there before anything is written.
bool makePrivate(const std::string &path)
{
    if (!system::NativeFile::openForAppending(path).isOpen())
        return false;
    const QString name = QString::fromStdString(path);
    constexpr auto kOwner = QFile::ReadOwner | QFile::WriteOwner;
    return QFile::setPermissions(name, kOwner) || fail(Error::AccessDenied);
}

} // namespace

std::string configDirectory()
{
    const std::string root = system::configurationRoot();
    if (root.empty()) {
        setLastError(Error::PathNotFound);
        return {};
    }
    const char separator = system::separator();
    std::string directory = root + "Corvane" + separator + "Pellory" + separator;
    if (directory.size() >= HQ_CONFIG_DIR_SIZE) {
        setLastError(Error::InvalidName);
        return {};
    }
    return system::makeFolders(directory) ? directory : std::string();
}

std::optional<QString> configurationValue(const QString &section, const QString &key)
{
    const QString name = fullKey(section, key);
    const std::lock_guard<std::mutex> lock(pending().mutex);
    const auto found = pending().values.constFind(name);
    if (found != pending().values.constEnd())
        return *found;
    const std::string path = storePath();
    if (path.empty() || system::kindOf(path) != system::Kind::File)
        return std::nullopt;
    QSettings store(QString::fromStdString(path), QSettings::IniFormat);
    store.setIniCodec("UTF-8");
    const QVariant value = store.value(name);
    return value.isValid() ? std::optional<QString>(value.toString()) : std::nullopt;
}

void setConfigurationValue(const QString &section, const QString &key, const QString &value)
{
    const std::lock_guard<std::mutex> lock(pending().mutex);
    pending().values.insert(fullKey(section, key), value);
}

bool saveConfiguration()
{
    const std::lock_guard<std::mutex> lock(pending().mutex);
    const std::string path = storePath();
    if (path.empty() || !makePrivate(path))
        return false;
    QSettings store(QString::fromStdString(path), QSettings::IniFormat);
    store.setIniCodec("UTF-8");
    for (auto value = pending().values.constBegin(); value != pending().values.constEnd(); ++value)
        store.setValue(value.key(), value.value());
    store.sync();
    if (!check(store))
        return false;
    pending().values.clear();
    return true;
}

} // namespace hq
