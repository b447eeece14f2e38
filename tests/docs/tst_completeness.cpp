#include "documents.h"

#include "paymentmdb.h"

#include <QMetaEnum>
#include <QRegularExpression>
#include <QTest>

namespace {

QStringList membersOfTheItem()
{
    const QMetaObject &item = PaymentMDB::staticMetaObject;
    QStringList names;
    for (int i = item.methodOffset(); i < item.methodCount(); ++i) {
        if (item.method(i).access() == QMetaMethod::Public)
            names.append(item.method(i).name());
    }
    for (int i = item.propertyOffset(); i < item.propertyCount(); ++i)
        names.append(item.property(i).name());
    for (int i = item.enumeratorOffset(); i < item.enumeratorCount(); ++i) {
        const QMetaEnum enumeration = item.enumerator(i);
        names.append(enumeration.name());
        for (int k = 0; k < enumeration.keyCount(); ++k)
            names.append(enumeration.key(k));
    }
    return names;
}

} // namespace

/// Nothing of the interface is left out of the document that describes it.
class TestCompleteness : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void isDescribed_data();
    void isDescribed();
};

void TestCompleteness::isDescribed_data()
{
    QTest::addColumn<QString>("document");
    QTest::addColumn<QString>("name");
    const auto rows = [](const QString &document, const QStringList &names) {
        QVERIFY2(names.size() > 5, qPrintable(document));
        for (const QString &name : names)
            QTest::newRow(qPrintable(document + ": " + name)) << document << name;
    };
    rows("docs/qml-api.md", membersOfTheItem());
    rows("docs/qml-api.md", documents::publishedKeys());
    rows("docs/qml-api.md", documents::settingKeys());
    rows("docs/records.md", documents::recordKeys());
}

/// As code, alone or before an argument list.
void TestCompleteness::isDescribed()
{
    QFETCH(QString, document);
    QFETCH(QString, name);
    const QRegularExpression code("`([\\w.\\[\\]]+\\.)?" + name + "(`|\\()");
    QVERIFY(code.match(documents::read(document)).hasMatch());
}

QTEST_GUILESS_MAIN(TestCompleteness)
#include "tst_completeness.moc"
