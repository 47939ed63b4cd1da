// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "configuration.h"

#include "errorlog.h"
#include "lasterror.h"
#include "system.h"
#include "targetfile.h"
#include "temporaryfile.h"
#include "utf8settings.h"

#include <QFile>
#include <QLockFile>
#include <QMap>
#include <QScopeGuard>
#include <QSettings>
#include <memory>
#include <mutex>

namespace hq {

namespace {

constexpr int kLockLimit = 2000; // ms

struct Pending
{
    std::mutex mutex;
    QMap<QString, QString> values;
};

Pending &pending()
{
    // Never destroyed: threads may still be at work when the process ends.
    static auto *const values = new Pending;
    return *values;
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

std::unique_ptr<QSettings> openStore(const std::string &path)
{
    auto store = std::make_unique<QSettings>(QString::fromStdString(path), QSettings::IniFormat);
    useUtf8(*store);
    return store;
}

bool check(const QSettings &store)
{
    if (store.status() == QSettings::FormatError)
        setLastError(Error::FileCorrupt);
    else if (store.status() == QSettings::AccessError)
        setLastError(Error::AccessDenied);
    return store.status() == QSettings::NoError;
}

// QSettings writes a line for each value, and reports a file as written for which the disk had no
// room.
bool isComplete(const QByteArray &text, int values)
{
    int lines = 0;
    for (const QByteArray &line : text.split('\n'))
        lines += line.trimmed().isEmpty() || line.startsWith('[') ? 0 : 1;
    return (text.endsWith('\n') && lines == values) || fail(Error::DiskFull);
}

// The text of the store at `path` with these values; empty, with the last error, when the store is
// not understood: saving would drop what is not. Made from a copy under a new name, because
// QSettings reads a file once for the whole process, and calls it good the second time.
QByteArray combined(const std::string &path, const QMap<QString, QString> &values)
{
    system::NativeFile copy;
    const std::string temporary = makeTemporary(path, [&copy](const std::string &name) {
        copy = system::NativeFile::openForAppending(name); // for the owner only
        return copy.isOpen();
    });
    if (temporary.empty())
        return {};
    const auto remove = qScopeGuard([&temporary] {
        const LastErrorKeeper keeper;
        system::removeFile(temporary);
    });
    QFile old(QString::fromStdString(path));
    const bool isOpen = old.open(QIODevice::ReadOnly);
    const QByteArray before = isOpen ? old.readAll() : QByteArray();
    if (isOpen ? old.error() != QFileDevice::NoError : old.exists()) {
        setLastError(Error::AccessDenied);
        return {};
    }
    if (!copy.writeAt(0, before.constData(), static_cast<std::size_t>(before.size())))
        return {};
    copy = {};
    const auto store = openStore(temporary);
    store->allKeys(); // reads all of it
    if (!check(*store))
        return {};
    for (auto value = values.constBegin(); value != values.constEnd(); ++value)
        store->setValue(value.key(), value.value());
    // Another process may take the copy for one that was left behind and remove it, before it is
    // read here or at the end: what it held must not be lost.
    const int count = store->allKeys().size();
    const bool isThere = system::kindOf(temporary) == system::Kind::File;
    store->sync();
    if (!isThere || store->allKeys().size() != count) {
        setLastError(Error::SharingViolation);
        return {};
    }
    QFile file(QString::fromStdString(temporary));
    const QByteArray text = file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    return check(*store) && isComplete(text, count) ? text : QByteArray();
}

// All of it or nothing.
bool save(const QMap<QString, QString> &values)
{
    const std::string path = storePath();
    if (path.empty())
        return false;
    const auto target = TargetFile::create(path, system::kOwnerOnly, false);
    if (!target || values.isEmpty())
        return target != nullptr;
    QLockFile lock(QString::fromStdString(path + ".lock")); // another process may add values too
    if (!lock.tryLock(kLockLimit))
        return fail(Error::SharingViolation);
    const QByteArray text = combined(path, values);
    return !text.isEmpty() &&
           target->writeAt(0, text.constData(), static_cast<std::size_t>(text.size())) &&
           target->commit();
}

} // namespace

std::string folderBelow(const std::string &root)
{
    const char separator = system::separator();
    return root + "Corvane" + separator + "Pellory" + separator;
}

std::string configDirectory()
{
    const std::string root = system::configurationRoot();
    if (root.empty()) {
        setLastError(Error::PathNotFound);
        return {};
    }
    std::string directory = folderBelow(root);
    if (directory.size() >= kConfigDirectorySize) {
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
    const QVariant value = openStore(path)->value(name);
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
    if (!save(pending().values)) {
        writeErrorLog("ERROR: Unable to save the configuration store, error " +
                      std::to_string(lastError()));
        return false;
    }
    pending().values.clear();
    return true;
}

} // namespace hq
