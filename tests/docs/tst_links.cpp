#include "documents.h"

#include <QDirIterator>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTest>

namespace {

/// The name by which a heading is linked to.
QString anchor(QString heading)
{
    heading.remove(QRegularExpression("[^\\w\\- ]"));
    return heading.toLower().replace(' ', '-');
}

QStringList anchorsOf(const QString &path)
{
    QStringList anchors;
    auto headings = QRegularExpression("^#+ (.*)$", QRegularExpression::MultilineOption)
                        .globalMatch(documents::read(path));
    while (headings.hasNext())
        anchors.append(anchor(headings.next().captured(1)));
    return anchors;
}

/// Headers and sources of the plugin and the simulator, in one text.
QString sources()
{
    QString text;
    for (const QString folder : {"Kovira", "simulator"}) {
        QDirIterator files(documents::absolute(folder), {"*.h", "*.cpp"}, QDir::Files,
                           QDirIterator::Subdirectories);
        while (files.hasNext())
            text += documents::read(QDir(documents::absolute({})).relativeFilePath(files.next()));
    }
    return text;
}

} // namespace

/// What the documents refer to exists.
class TestLinks : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void leadsSomewhere_data();
    void leadsSomewhere();
    void memberExists_data();
    void memberExists();
};

void TestLinks::leadsSomewhere_data()
{
    QTest::addColumn<QString>("document");
    QTest::addColumn<QString>("target");
    const QRegularExpression link("\\]\\(([^)\\s]+)\\)");
    for (const QString &document : documents::paths()) {
        auto links = link.globalMatch(documents::read(document));
        while (links.hasNext()) {
            const QString target = links.next().captured(1);
            if (!target.contains("://"))
                QTest::newRow(qPrintable(document + " -> " + target)) << document << target;
        }
    }
}

void TestLinks::leadsSomewhere()
{
    QFETCH(QString, document);
    QFETCH(QString, target);
    const QString folder = QFileInfo(document).path();
    const QString path = target.section('#', 0, 0);
    const QString linked = path.isEmpty() ? document : folder + '/' + path;
    QVERIFY2(QFileInfo::exists(documents::absolute(linked)), qPrintable(linked));
    const QString wanted = target.section('#', 1);
    if (!wanted.isEmpty())
        QVERIFY2(anchorsOf(linked).contains(wanted), qPrintable(wanted));
}

void TestLinks::memberExists_data()
{
    QTest::addColumn<QString>("type");
    QTest::addColumn<QString>("member");
    for (const QString &document : documents::paths()) {
        for (const QString &name : documents::captures(document, "`([A-Z]\\w+::\\w+)[`(]"))
            QTest::newRow(qPrintable(document + ": " + name))
                << name.section("::", 0, 0) << name.section("::", 1);
    }
}

void TestLinks::memberExists()
{
    QFETCH(QString, type);
    QFETCH(QString, member);
    static const QString text = sources();
    QVERIFY(text.contains(QRegularExpression("(class|struct) " + type + "\\b")));
    QVERIFY(text.contains(QRegularExpression("\\b" + member + "\\b")));
}

QTEST_GUILESS_MAIN(TestLinks)
#include "tst_links.moc"
