// SPDX-License-Identifier: BSD-2-Clause
#include "vardex/window/BlackListWindow.h"
#include "app/images/PictureStore.h"
#include "platform/queue/main/MainQueue.h"
#include "vardex/window/AddDialog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QAbstractItemModelTester>
#include <QApplication>
#include <QClipboard>
#include <QFile>
#include <QMessageBox>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <functional>
#include <string>
#include <vector>

namespace brindle::vardex {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

bool until(const std::function<bool()>& holds) {
    return QTest::qWaitFor(holds, 20000);
}

std::vector<AddressBlock> blocks(const std::vector<std::string>& texts) {
    return blocksOfTexts(texts).blocks;
}

class BlackListWindowTest : public testing::Test {
  protected:
    BlackListWindowTest() {
        write("nations.plist", "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>it</key>"
                               "<array><string>2.32.0.0/11</string></array></dict></plist>");
        answer(0, "");
        keeper = std::make_unique<Keeper>(BlackListFile(path("list").toStdString()),
                                          QStringList{"sh", "-c",
                                                      "cat > '" + path("input") + "'; cat '" +
                                                          path("errors") + "' >&2; exit $(cat '" +
                                                          path("status") + "')"},
                                          platform::makeSerialQueue("list"), queues.main);
        nations = std::make_unique<NationFinder>(path("nations.plist").toStdString(), 1.0,
                                                 queues.global, queues.main);
        window = std::make_unique<BlackListWindow>(*keeper, *nations, pictures, QString());
        table = window->findChild<QTableView*>();
    }

    QString path(const QString& name) const { return folder.filePath(name); }
    void write(const QString& name, const QByteArray& bytes) {
        QFile file(path(name));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(bytes);
    }
    std::string content(const QString& name) {
        QFile file(path(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll().toStdString() : std::string();
    }
    void answer(int status, const QByteArray& errors) {
        write("status", QByteArray::number(status));
        write("errors", errors);
    }
    bool settled() {
        return until([&] { return !keeper->isBusy(); });
    }
    void add(const std::vector<std::string>& texts, Insistence insistence = Insistence::none) {
        keeper->add(blocks(texts), insistence);
        ASSERT_TRUE(settled());
    }

    /// The texts of a column, as they are shown.
    std::vector<std::string> column(int number) {
        std::vector<std::string> texts;
        for (int row = 0; row < table->model()->rowCount(); ++row)
            texts.push_back(table->model()->index(row, number).data().toString().toStdString());
        return texts;
    }
    std::vector<std::string> addresses() { return column(BlackListModel::Address); }
    std::string text(const char* label) {
        return window->findChild<QLabel*>(label)->text().toStdString();
    }
    QAction* action(const char* name) {
        for (QAction* one : window->findChildren<QAction*>())
            if (one->text().remove('&') == QLatin1String(name))
                return one;
        ADD_FAILURE() << "no action " << name;
        return new QAction(window.get());
    }
    void select(const std::vector<std::string>& wanted) {
        table->clearSelection();
        for (int row = 0; row < table->model()->rowCount(); ++row)
            if (testing::Matches(testing::Contains(addresses()[static_cast<std::size_t>(row)]))(
                    wanted))
                table->selectionModel()->select(table->model()->index(row, 0),
                                                QItemSelectionModel::Select |
                                                    QItemSelectionModel::Rows);
    }
    /// Presses a button of the question that is about to be asked; its details are in `question`.
    void whenAskedPress(const QString& button) {
        question.clear();
        QTimer::singleShot(0, window.get(), [this, button] {
            auto* const box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
            ASSERT_NE(box, nullptr) << "nothing was asked";
            question = box->informativeText().toStdString();
            for (QAbstractButton* one : box->buttons())
                if (one->text().remove('&') == button)
                    return one->click();
            ADD_FAILURE() << "no button " << button.toStdString();
            box->reject();
        });
    }

    QTemporaryDir folder;
    platform::Queues queues = platform::makeQueues(platform::makeMainQueue());
    PictureStore pictures{queues.global, queues.main};
    std::unique_ptr<Keeper> keeper;
    std::unique_ptr<NationFinder> nations;
    std::unique_ptr<BlackListWindow> window;
    QTableView* table = nullptr;
    std::string question;
};

TEST_F(BlackListWindowTest, ShowsEntriesWithNationTimeAndHowTheyStand) {
    const QAbstractItemModelTester tester(table->model(),
                                          QAbstractItemModelTester::FailureReportingMode::Fatal);
    EXPECT_EQ(text("standing"), "The black list is empty.");
    write("list", "2.33.0.1 2026-11-23T08:00:00Z\n203.0.113.1 2026-11-23T09:00:00Z\n"
                  "127.0.0.1 2026-11-23T07:00:00Z\n127.0.0.2 2026-11-23T06:00:00Z insisted\n");
    answer(1, "refused 127.0.0.1: is a loopback address\n");
    keeper->load();
    ASSERT_TRUE(settled());
    ASSERT_TRUE(until([&] { return column(BlackListModel::Nation)[1] == "Italy"; }));
    EXPECT_THAT(addresses(), ElementsAre("203.0.113.1", "2.33.0.1", "127.0.0.1", "127.0.0.2"));
    EXPECT_THAT(column(BlackListModel::Nation),
                ElementsAre("Unknown location", "Italy", "Unknown location", "Unknown location"));
    EXPECT_THAT(column(BlackListModel::Added),
                ElementsAre("2026/11/23 09:00:00", "2026/11/23 08:00:00", "2026/11/23 07:00:00",
                            "2026/11/23 06:00:00"));
    EXPECT_THAT(column(BlackListModel::State),
                ElementsAre("Blocked", "Blocked", "Refused: is a loopback address", "Blocked"));
    EXPECT_EQ(text("standing"), "3 entries are blocked. 1 was refused.");
    table->sortByColumn(BlackListModel::Address, Qt::AscendingOrder);
    EXPECT_THAT(addresses(), ElementsAre("2.33.0.1", "127.0.0.1", "127.0.0.2", "203.0.113.1"));
}

TEST_F(BlackListWindowTest, SaysThatItIsNotAppliedAndWhy) {
    const std::vector<std::tuple<int, QByteArray, std::string>> cases{
        {1, "not applied: Operation not permitted\n", "Not applied: Operation not permitted."},
        {126, "", "Not applied: the request for the right to do so was dismissed."},
        {127, "Not authorized\n", "Not applied: there is no right to do so."},
        {1, "", "Not applied: the helper failed."},
        {5, "strange\n", "Not applied: strange."},
    };
    int number = 0;
    for (const auto& [status, errors, standing] : cases) {
        answer(status, errors);
        add({"203.0.113." + std::to_string(++number)});
        EXPECT_EQ(text("standing"), standing);
        EXPECT_THAT(column(BlackListModel::State), testing::Each("Not applied"));
    }
    answer(0, "");
    window->show();
    for (QPushButton* button : window->findChildren<QPushButton*>())
        if (button->text() == "Apply")
            QTest::mouseClick(button, Qt::LeftButton);
    ASSERT_TRUE(settled());
    EXPECT_EQ(text("standing"), "5 entries are blocked.");
    // What was applied stays blocked, whatever becomes of later changes.
    answer(1, "not applied: Operation not permitted\n");
    add({"198.51.100.1"});
    table->sortByColumn(BlackListModel::Address, Qt::AscendingOrder);
    EXPECT_THAT(column(BlackListModel::State),
                ElementsAre("Not applied", "Blocked", "Blocked", "Blocked", "Blocked", "Blocked"));
}

TEST_F(BlackListWindowTest, WhatCutsTheMachineOffIsAskedTwice) {
    whenAskedPress("Leave Out");
    window->addAsking(blocks({"203.0.113.1", "127.0.0.1", "224.0.0.0/8"}));
    ASSERT_TRUE(settled());
    EXPECT_EQ(question,
              "127.0.0.1 is a loopback address\n224.0.0.0/8 contains multicast addresses");
    EXPECT_EQ(content("input"), "203.0.113.1\n");
    whenAskedPress("Block");
    window->addAsking(blocks({"127.0.0.1"}));
    ASSERT_TRUE(settled());
    EXPECT_EQ(content("input"), "203.0.113.1\nforce 127.0.0.1\n");

    // What came from outside was not asked about; it is when the user insists.
    answer(1, "refused ::1: is the loopback address\n");
    add({"::1"});
    select({"203.0.113.1"});
    EXPECT_FALSE(action("Block Although Refused...")->isEnabled());
    select({"::1", "203.0.113.1"});
    EXPECT_TRUE(action("Block Although Refused...")->isEnabled());
    whenAskedPress("Block");
    answer(0, "");
    action("Block Although Refused...")->trigger();
    ASSERT_TRUE(settled());
    EXPECT_EQ(question, "::1 is the loopback address");
    EXPECT_EQ(content("input"), "203.0.113.1\nforce 127.0.0.1\nforce ::1\n");
    EXPECT_THAT(column(BlackListModel::State), testing::Each("Blocked"));
}

TEST_F(BlackListWindowTest, RemovesAndCopiesWhatIsSelected) {
    add({"203.0.113.1", "203.0.113.2", "2001:db8::/32"});
    EXPECT_FALSE(action("Remove")->isEnabled());
    table->sortByColumn(BlackListModel::Address, Qt::AscendingOrder);
    select({"203.0.113.2", "2001:db8::/32"});
    action("Copy")->trigger();
    EXPECT_EQ(QApplication::clipboard()->text(), "203.0.113.2\n2001:db8::/32");
    action("Remove")->trigger();
    ASSERT_TRUE(settled());
    EXPECT_THAT(addresses(), ElementsAre("203.0.113.1"));
    EXPECT_EQ(content("input"), "203.0.113.1\n");
    EXPECT_FALSE(action("Remove")->isEnabled());
}

TEST_F(BlackListWindowTest, FindsTextsAndTheBlocksOfAnAddress) {
    add({"203.0.113.1", "203.0.113.128/25", "2.33.0.1", "2001:db8::1"});
    ASSERT_TRUE(until([&] { return column(BlackListModel::Nation)[0] != ""; }));
    auto* const search = window->findChild<QLineEdit*>("search");
    const std::vector<std::pair<QString, std::vector<std::string>>> cases{
        {"", {"2.33.0.1", "203.0.113.1", "203.0.113.128/25", "2001:db8::1"}},
        {"ital", {"2.33.0.1"}},
        {" DB8 ", {"2001:db8::1"}},
        {"203.0.113.200", {"203.0.113.128/25"}},
        {"203.0.113", {"203.0.113.1", "203.0.113.128/25"}},
        {"nowhere", {}},
    };
    table->sortByColumn(BlackListModel::Address, Qt::AscendingOrder);
    for (const auto& [typed, found] : cases) {
        search->setText(typed);
        EXPECT_TRUE(until([&] { return addresses() == found; })) << typed.toStdString();
    }
}

TEST_F(BlackListWindowTest, AddsWhatIsTypedOrOffered) {
    window->offer({"198.51.100.1", "oops"});
    window->offer({"198.51.100.2"});
    auto* const dialog = window->findChild<AddDialog*>();
    ASSERT_NE(dialog, nullptr);
    auto* const text = dialog->findChild<QPlainTextEdit*>("addresses");
    EXPECT_EQ(text->toPlainText(), "198.51.100.1\noops\n198.51.100.2");
    EXPECT_TRUE(keeper->list().empty());
    text->setPlainText("oops");
    EXPECT_THAT(dialog->blocks(), IsEmpty());
    text->setPlainText("2001:db8::5 # typed\n198.51.100.1");
    dialog->accept();
    ASSERT_TRUE(until([&] { return !content("input").empty() && !keeper->isBusy(); }));
    EXPECT_EQ(content("input"), "2001:db8::5\n198.51.100.1\n");
}

TEST_F(BlackListWindowTest, ExportsAndImportsTheListAsText) {
    add({"203.0.113.1", "2001:db8::/32"});
    EXPECT_EQ(window->exportTo(path("exported")), "");
    EXPECT_EQ(content("exported"), "203.0.113.1\n2001:db8::/32\n");
    EXPECT_THAT(window->exportTo("/nonexistent/x").toStdString(), HasSubstr("cannot be written"));

    write("import", "# others\n203.0.113.1\n198.51.100.0/24 # noise\nexample.org\n\n");
    EXPECT_THAT(window->importFrom(path("import")).toStdString(), HasSubstr("1 lines of "));
    ASSERT_TRUE(settled());
    EXPECT_EQ(content("input"), "203.0.113.1\n2001:db8::/32\n198.51.100.0/24\n");
    EXPECT_THAT(window->importFrom(path("missing")).toStdString(), HasSubstr("cannot be read"));
    write("huge", QByteArray((8 << 20) + 1, '1'));
    EXPECT_THAT(window->importFrom(path("huge")).toStdString(), HasSubstr("is larger than"));
}

TEST_F(BlackListWindowTest, AChangeWhileTheListIsAppliedIsAppliedToo) {
    keeper->add(blocks({"203.0.113.1"}), Insistence::none);
    keeper->add(blocks({"203.0.113.2"}), Insistence::none);
    keeper->remove(blocks({"203.0.113.1"}));
    keeper->add(blocks({"203.0.113.3"}), Insistence::none);
    ASSERT_TRUE(settled());
    EXPECT_EQ(content("input"), "203.0.113.2\n203.0.113.3\n");
    EXPECT_EQ(text("standing"), "2 entries are blocked.");
}

TEST_F(BlackListWindowTest, TellsWhatBecameOfAnUnreadableFile) {
    write("list", "garbage\n203.0.113.1 2026-11-23T09:00:00Z\n");
    keeper->load();
    ASSERT_TRUE(settled());
    EXPECT_THAT(text("problem"), HasSubstr("set aside as " + path("list").toStdString()));
    EXPECT_THAT(addresses(), ElementsAre("203.0.113.1"));
    EXPECT_EQ(content("list.unreadable-1"), "garbage\n203.0.113.1 2026-11-23T09:00:00Z\n");
}

} // namespace
} // namespace brindle::vardex
