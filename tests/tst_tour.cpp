// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// Everything that a person does with the window, in one go, against servers that stand for the
// provider's hosts.
#include "windowprobe.h"

#include "adddialog.h"
#include "streamcontent.h"
#include "tamsdialog.h"
#include "testmain.h"
#include "testserver.h"
#include "treesortfilterproxymodel.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonObject>
#include <QTreeView>

namespace {

const QString kSecret = "ab/c+d@e:f";
const QString kObject =
    "s3://AKIATOUR:ab/c+d@e:f@s3.amazonaws.com/rushes/day 1/take 2/clip.final.mxf";
const QString kFlow = "tamss://tams.amazonaws.com/x-api/flows/flow-2";
const QString kFlows = R"([{"id": "flow-1", "label": "Studio"},
    {"id": "flow-2", "label": "News 8.30 / late", "format": "urn:x-nmos:format:video",
     "created": "2026-03-01T06:30:00Z"}])";

// What both readers of docs/examples, which share no code with the program, find in a stream file.
QString addressIn(const QString &file)
{
    QStringList found;
    for (const QStringList &reader :
         {QStringList{PELLORY_PYTHON, PELLORY_DOCS "/examples/read_stream.py"}, {PELLORY_READER}}) {
        QProcess process;
        process.start(reader[0], reader.mid(1) + QStringList{file});
        const bool done = process.waitForFinished() && process.exitCode() == 0;
        found += done ? QString::fromUtf8(process.readAllStandardOutput()).chopped(1) : "refused";
    }
    return found[0] == found[1] ? found[0] : "the readers differ: " + found.join(", ");
}

} // namespace

class TourTest : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void tour();
    void otherReaders();

private:
    void openWindow();
    void connectTo(const QString &source);
    // Clicks the row that is reached by the texts, with the mouse; false while there is none.
    bool click(QTreeView *view, const QStringList &texts);
    void press(QPushButton *button) { QTest::mouseClick(button, Qt::LeftButton); }
    QString taken(const QString &file) // the address in a new file of the target directory
    {
        const QString path = m_target.filePath(file);
        const QString form = contentOf(path).startsWith(":x") ? "encrypted " : "";
        const QString address = addressIn(path);
        QFile::remove(path);
        return form + address;
    }

    TestServer m_server{"fault_server.py"};
    std::unique_ptr<TestServer> m_front;
    std::unique_ptr<MainWindowProbe> m_probe;
    QTemporaryDir m_target;
};

void TourTest::initTestCase()
{
    QVERIFY2(m_server.start(), m_server.error());
    m_front = std::make_unique<TestServer>("tls_front.py",
                                           QStringList{"--port", QString::number(m_server.port())});
    QVERIFY2(m_front->start(), m_front->error());
    qputenv("CURL_CA_BUNDLE", m_front->ready()["caFile"].toString().toUtf8());
    qputenv("https_proxy",
            "http://127.0.0.1:" + QByteArray::number(m_front->ready()["proxyPort"].toInt()));
    m_server.command("bucket", {{"bucket", "rushes"},
                                {"objects", QJsonObject{{"top.mov", 10},
                                                        {"day 1/take 2/clip.final.mxf", 100'000},
                                                        {"day 2/other.mxf", 10}}}});
    m_server.command("bucket", {{"bucket", "x-api"}, {"objects", QJsonObject{{"flows", kFlows}}}});
    const QString token = R"({"access_token": "TOKEN", "token_type": "Bearer"})";
    m_server.command("fault", {{"method", "POST"}, {"times", 0}, {"status", 200}, {"body", token}});
}

void TourTest::openWindow()
{
    m_probe.reset();
    m_probe = std::make_unique<MainWindowProbe>();
    m_probe->window.resize(1400, 600); // every column shows
    m_probe->window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&m_probe->window));
}

void TourTest::connectTo(const QString &source)
{
    m_probe->ui.combo_URL->setCurrentText(source);
    press(m_probe->ui.button_Connect);
    QTRY_COMPARE(m_probe->ui.treeView->model(),
                 static_cast<QAbstractItemModel *>(m_probe->folderProxy));
}

bool TourTest::click(QTreeView *view, const QStringList &texts)
{
    QModelIndex index = view->rootIndex();
    for (const QString &text : texts) {
        if (!view->model())
            return false;
        view->expand(index);
        const QModelIndexList found =
            view->model()->match(view->model()->index(0, 0, index), Qt::DisplayRole, text, 1,
                                 Qt::MatchExactly | Qt::MatchCaseSensitive);
        if (found.isEmpty())
            return false;
        index = found.first();
    }
    view->scrollTo(index);
    QTest::mouseClick(view->viewport(), Qt::LeftButton, {}, view->visualRect(index).center());
    return true;
}

void TourTest::tour()
{
    const QStringList sources{"s3.amazonaws.com - rushes", "tamss://tams.amazonaws.com"};
    openWindow();
    const QString computer = m_probe->urlTexts().value(0);
    const QStringList homeTargets = m_probe->targets();
    QCOMPARE(m_probe->urlTexts(), QStringList{computer});

    press(m_probe->ui.button_Add);
    fillDialog(m_probe->dialog<AddDialog>(), {"AKIATOUR", "eu-west-1", kSecret, "rushes", ""},
               "Accept");
    press(m_probe->ui.button_Tams);
    fillDialog(m_probe->dialog<TamsDialog>(),
               {"https://tams.amazonaws.com/", "x-api", "auth.amazonaws.com/oauth2/token",
                "client secret", "client"},
               "Accept");
    QCOMPARE(m_probe->urlTexts(), sources + QStringList{computer});
    QLineEdit *target = m_probe->ui.combo_TargetDir->lineEdit();
    target->selectAll();
    QTest::keyClicks(target, m_target.path());
    QTest::keyClick(target, Qt::Key_Return);
    const QStringList targets = homeTargets + QStringList{m_target.path()};
    QCOMPARE(m_probe->targets(), targets);

    // The second round starts the program again, in the same home.
    for (const bool again : {false, true}) {
        if (again) {
            openWindow();
            QCOMPARE(m_probe->urlTexts(), sources + QStringList{computer});
            QCOMPARE(m_probe->targets(), targets);
            m_probe->ui.combo_TargetDir->setCurrentText(m_target.path());
        }
        const Ui_MainWindow &ui = m_probe->ui;
        connectTo(sources[0]);
        QTRY_VERIFY(click(ui.treeView, {"rushes", "day 1"}));
        QTRY_VERIFY(click(ui.treeView, {"rushes", "day 1", "take 2"}));
        QTRY_VERIFY(click(ui.fileView, {"clip.final.mxf"}));
        press(ui.button_MakeStream);
        QCOMPARE(taken("clip.stream"), kObject);
        press(ui.button_EncryptStream);
        QCOMPARE(taken("clip.stream"), "encrypted " + kObject);
        press(ui.button_LocalizeFile);
        QTRY_VERIFY(QFile::exists(m_target.filePath("clip.final.mxf")));
        QVERIFY(contentOf(m_target.filePath("clip.final.mxf")) == TestServer::content(0, 100'000));
        QVERIFY(QFile::remove(m_target.filePath("clip.final.mxf")));

        m_server.command("requests");
        connectTo(sources[1]);
        QTRY_VERIFY(click(ui.treeView, {sources[1]}));
        QTRY_VERIFY(click(ui.fileView, {"News 8.30 / late"}));
        press(ui.button_MakeStream);
        QCOMPARE(taken("News 8.30 _ late.stream"), kFlow);
        press(ui.button_EncryptStream);
        QCOMPARE(taken("News 8.30 _ late.stream"), "encrypted " + kFlow);
        const QJsonObject request =
            m_server.command("requests")["requests"].toArray().last().toObject();
        QCOMPARE(request["path"].toString() + '?' + request["query"].toString(),
                 QString("/x-api/flows?limit=300"));
        QCOMPARE(request["authorization"].toString(), QString("Bearer TOKEN"));
    }

    QVERIFY(QDir(m_target.path()).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot));
}

// Beside the window's files: the command line's, those of docs/encrypted-form.md, bad ones.
void TourTest::otherReaders()
{
    const QString page = PELLORY_DOCS "/encrypted-form.md";
    QDir::setCurrent(m_target.path());
    QCOMPARE(QProcess::execute(PELLORY_PROGRAM, {"-e", "-u", page, "-t", "written"}), 1);
    QCOMPARE(taken("written.stream"), "encrypted " + page);
    QList<QPair<QByteArray, QString>> rows{
        {"plain é", "plain é"},
        {":x", "refused"},
        {":xAUBBQkNERUZHSElKS0xNTk9QUVJTVFVWVwyREbPLRkmKtEgTWjLGbCkl7SU8", "refused"}};
    // In the page a file stands below its address, both indented.
    const QRegularExpression form("^    (\\S.*)\n\n    (:x\\S+)$",
                                  QRegularExpression::MultilineOption);
    for (auto files = form.globalMatch(contentOf(page)); files.hasNext(); files.next())
        rows.append({files.peekNext().captured(2).toUtf8(), files.peekNext().captured(1)});
    QCOMPARE(rows.size(), 5);
    for (const auto &[content, address] : rows) {
        QFile file("shown");
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(content) == content.size());
        file.close();
        QCOMPARE(addressIn("shown"), address);
    }
}

PELLORY_TEST_MAIN(TourTest, QApplication)
#include "tst_tour.moc"
