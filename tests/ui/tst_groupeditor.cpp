#include "CommandRow.h"
#include "GroupEditor.h"
#include "WaitField.h"

#include <QApplication>
#include <QCheckBox>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLineEdit>
#include <QTest>
#include <QToolButton>

using namespace corvane;
using namespace Qt::StringLiterals;

namespace {

// A card fed back its own edits, as the editor does through the store.
struct Card {
    explicit Card(const TabGroup &start) : group(start), card(start.id)
    {
        QObject::connect(&card, &GroupEditor::groupEdited, &card, [this](const TabGroup &g) {
            group = g;
            card.update(group, std::nullopt, true);
        });
        card.update(group, std::nullopt, true);
        card.show();
        card.activateWindow();
        if (!QTest::qWaitForWindowActive(&card))
            QTest::qFail("the card was never shown", __FILE__, __LINE__);
    }
    template <typename T = QLineEdit> T *in(int row, const QString &name)
    {
        return card.commandRow(row)->findChild<T *>(name);
    }
    QByteArray wait(int row) const
    {
        const QJsonValue v = group.commands.at(row).waitFor;
        return v.isUndefined() ? "-" : QJsonDocument(v.toObject()).toJson(QJsonDocument::Compact);
    }

    TabGroup group;
    GroupEditor card;
};

TabGroup threeSteps()
{
    TabGroup g;
    g.commands = {CommandStep{QUuid::createUuid(), u"a"_s, 3},
                  CommandStep{QUuid::createUuid(), u"b"_s, 0},
                  CommandStep{QUuid::createUuid(), u"c"_s, 0}};
    return g;
}

} // namespace

class TestGroupEditor final : public QObject {
    Q_OBJECT

private Q_SLOTS:
    // What is typed is stored as typed (nothing lost); what the run cannot use shows as invalid.
    void waitKinds_data()
    {
        QTest::addColumn<int>("kind");
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QByteArray>("stored");
        QTest::addColumn<bool>("invalid");
        using K = WaitField::Kind;
        QTest::newRow("port") << int(K::port) << u"5432"_s << QByteArray("{\"port\":5432}")
                              << false;
        QTest::newRow("port too big")
            << int(K::port) << u"70000"_s << QByteArray("{\"port\":70000}") << true;
        QTest::newRow("port letters")
            << int(K::port) << u"db"_s << QByteArray("{\"port\":\"db\"}") << true;
        QTest::newRow("url") << int(K::url) << u"http://x/h"_s
                             << QByteArray("{\"url\":\"http://x/h\"}") << false;
        QTest::newRow("empty file")
            << int(K::file) << u""_s << QByteArray("{\"file\":\"\"}") << true;
    }

    void waitKinds()
    {
        QFETCH(int, kind);
        QFETCH(QString, typed);
        QFETCH(QByteArray, stored);
        QFETCH(bool, invalid);
        Card c(threeSteps());
        auto *wait = c.card.commandRow(0)->findChild<WaitField *>();
        wait->choose(WaitField::Kind(kind));
        QCOMPARE(c.group.commands[0].delayAfter, 0.0); // the condition replaces the blind wait
        auto *value = c.in(0, u"delayField"_s);
        QCOMPARE(QApplication::focusWidget(), value);
        QTest::keyClicks(value, typed);
        QCOMPARE(c.wait(0), stored);
        QCOMPARE(value->property("invalid").toBool(), invalid);
        QCOMPARE(value->toolTip().isEmpty(), !invalid);
        wait->choose(WaitField::Kind::plain); // back to the seconds it had
        QCOMPARE(c.wait(0), QByteArray("-"));
        QCOMPARE(c.group.commands[0].delayAfter, 3.0);
    }

    void keyboard()
    {
        Card c(threeSteps());
        auto *name = c.card.findChild<QLineEdit *>(u"groupName"_s);
        name->setFocus();
        QTest::keyClick(name, Qt::Key_Tab);
        QCOMPARE(QApplication::focusWidget(), c.in(0, u"commandField"_s));

        // ↑/↓ step the seconds; Alt+↑/↓ move the command whose field has the focus.
        auto *delay = c.in(0, u"delayField"_s);
        delay->setFocus();
        QTest::keyClick(delay, Qt::Key_Up);
        QTest::keyClick(delay, Qt::Key_Up);
        QTest::keyClick(delay, Qt::Key_Down);
        QCOMPARE(c.group.commands[0].delayAfter, 4.0);
        CommandRow *first = c.card.commandRow(0);
        QVERIFY(!first->findChild<QToolButton *>(u"stepUp"_s)->isEnabled());
        QTest::keyClick(delay, Qt::Key_Up, Qt::AltModifier); // the first cannot go up
        QTest::keyClick(delay, Qt::Key_Down, Qt::AltModifier);
        QCOMPARE(c.group.commands[1].command, u"a"_s);
        QCOMPARE(c.card.commandRow(1), first);
        QCOMPARE(QApplication::focusWidget(), delay);
        QVERIFY(!c.card.commandRow(2)->findChild<QToolButton *>(u"stepDown"_s)->isEnabled());
        // Tab keeps following the rows in their new order.
        QTest::keyClick(delay, Qt::Key_Tab);
        QCOMPARE(QApplication::focusWidget(), c.in(2, u"commandField"_s));
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Delete, Qt::AltModifier);
        QCOMPARE(c.group.commands.size(), 2);
        QCOMPARE(QApplication::focusWidget(), c.in(1, u"commandField"_s));
    }

    void moreOpensForWindowsThatUseIt()
    {
        TabGroup g = threeSteps();
        Card plain(g);
        QVERIFY(!plain.card.moreShown());
        g.startWhen = QJsonObject{{u"port"_s, 0}}; // kept as read, shown as invalid
        Card c(g);
        QVERIFY(c.card.moreShown());
        QVERIFY(c.card.findChild<QLineEdit *>(u"startWhenValue"_s)->property("invalid").toBool());
        QTest::keyClicks(c.card.findChild<QLineEdit *>(u"folder"_s), u"~/app"_s);
        c.card.findChild<QCheckBox *>(u"stopOnError"_s)->click();
        QCOMPARE(c.group.directory, u"~/app"_s);
        QVERIFY(c.group.stopOnError);
        QCOMPARE(c.group.startWhen, QJsonValue(QJsonObject{{u"port"_s, 0}}));
    }
};

QTEST_MAIN(TestGroupEditor)
#include "tst_groupeditor.moc"
