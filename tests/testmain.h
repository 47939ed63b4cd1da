// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// PELLORY_TEST_MAIN(Test, QCoreApplication): a main() that gives the test a home of its own, so
// that no test sees the files of another one or of the person who runs it.
#pragma once

#include <QtCore>
#include <QtTest>

#ifdef Q_OS_WIN
#define WIN32_LEAN_AND_MEAN // others want their sockets
#include <windows.h>
#else
#include <sys/stat.h>
#endif

class TestHome
{
public:
    TestHome()
    {
#ifdef Q_OS_WIN
        // Settings are in the registry, which knows no home.
        HKEY settings = nullptr;
        RegDeleteTreeW(HKEY_CURRENT_USER, L"Software\\Pellory tests");
        if (RegCreateKeyExW(HKEY_CURRENT_USER, L"Software\\Pellory tests", 0, nullptr, 0,
                            KEY_ALL_ACCESS, nullptr, &settings, nullptr) ||
            RegOverridePredefKey(HKEY_CURRENT_USER, settings))
            qFatal("no registry of its own");
#else
        ::umask(0); // what is kept from others is not kept by chance
#endif
        const QByteArray root = m_directory.path().toUtf8();
        qputenv("HOME", root);
        for (const char *name : {"XDG_CONFIG_HOME", "XDG_STATE_HOME", "XDG_DATA_HOME",
                                 "XDG_CACHE_HOME", "APPDATA", "LOCALAPPDATA"})
            qputenv(name, root + '/' + name);
        for (const char *name :
             {"http_proxy", "https_proxy", "all_proxy", "no_proxy", "HTTPS_PROXY", "ALL_PROXY",
              "NO_PROXY", "CURL_CA_BUNDLE", "SSL_CERT_FILE", "SSL_CERT_DIR"})
            qunsetenv(name);
    }

private:
    QTemporaryDir m_directory;
};

#define PELLORY_TEST_MAIN(TestClass, Application)                                                  \
    int main(int argc, char **argv)                                                                \
    {                                                                                              \
        TestHome home;                                                                             \
        Application application(argc, argv);                                                       \
        TestClass test;                                                                            \
        return QTest::qExec(&test, argc, argv);                                                    \
    }
