// SPDX-License-Identifier: BSD-2-Clause
#include "app/exclusions/ExclusionsWindow.h"
#include "app/exclusions/ExclusionWording.h"
#include "app/exclusions/VDXExclusionsWindowController.h"
#include "app/images/PictureStore.h"
#include "platform/queue/main/MainQueue.h"

#include <QAbstractItemModelTester>
#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTableView>
#include <QTest>

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace brindle {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// Keeps nothing but how often something was to be stored.
class CountingStorage final : public ExclusionStorage {
  public:
    std::vector<VDXExclusion> read() override { return stored; }
    void store(ExclusionChange, std::vector<VDXExclusion>,
               std::function<void(std::vector<VDXExclusion>)>) override {
        ++stores;
    }
    std::vector<VDXExclusion> stored;
    int stores = 0;
};

class ExclusionsEditor : public testing::Test {
  protected:
    ExclusionsEditor()
        : queues_(platform::makeQueues(platform::makeMainQueue())),
          pictures_(queues_.global, queues_.main), list_(storage_, [this] {
              if (const auto entry = views_.find("exclusions"))
                  entry->exclusions->reloadExclusions();
          }) {
        context_.queues = queues_;
        context_.viewControllers = &views_;
        context_.windowControllers = &windows_;
        context_.pictures = &pictures_;
        context_.helper = BrindleHelper::create(
            // Asked once for every decision about the live feed.
            [this](auto) {
                ++feedSwitches_;
                registeredAtSwitch_ = views_.find("exclusions") != nullptr;
                return nullptr;
            },
            queues_.main, views_, std::make_unique<LiveFeed>(queues_, views_, list_),
            [](const std::string&) {});
    }

    void open() {
        controller_ = std::static_pointer_cast<VDXExclusionsWindowController>(
            makeExclusionsWindow(context_, list_));
        controller_->present();
        ASSERT_TRUE(QTest::qWaitForWindowActive(controller_->window()));
    }
    template <typename Widget>
    Widget* find(const char* name) const {
        return controller_->window()->findChild<Widget*>(QString::fromLatin1(name));
    }
    QLineEdit* field() const { return find<QLineEdit>("textfield_addExlusion"); }
    QTableView* table() const { return find<QTableView>("table"); }
    bool markShown() const { return find<QWidget>("image_error")->isVisible(); }
    QString preview() const { return find<QLabel>("preview")->text(); }

    void type(const char* text) {
        field()->setFocus();
        field()->selectAll();
        QTest::keyClick(field(), Qt::Key_Delete);
        QTest::keyClicks(field(), QString::fromUtf8(text));
    }
    void typeAndEnter(const char* text) {
        type(text);
        QTest::keyClick(field(), Qt::Key_Return);
    }
    void select(std::initializer_list<int> rows) {
        table()->setFocus();
        table()->clearSelection();
        for (const int row : rows)
            QTest::mouseClick(table()->viewport(), Qt::LeftButton, Qt::ControlModifier,
                              table()->visualRect(table()->model()->index(row, 1)).center());
    }
    std::vector<std::string> shown() const {
        std::vector<std::string> texts;
        for (int row = 0; row < table()->model()->rowCount(); ++row)
            texts.push_back(table()->model()->index(row, 1).data().toString().toStdString());
        return texts;
    }
    void add(std::initializer_list<const char*> texts) {
        for (const char* text : texts)
            list_.addExclusion({"ip", text, std::nullopt, std::nullopt, 4});
    }

    platform::Queues queues_;
    PictureStore pictures_;
    CountingStorage storage_;
    ViewControllers views_;
    WindowControllers windows_;
    ExclusionList list_;
    AppContext context_;
    int feedSwitches_ = 0;
    bool registeredAtSwitch_ = false;
    std::shared_ptr<VDXExclusionsWindowController> controller_;
};

TEST_F(ExclusionsEditor, EnterAddsWhatTheTextMeansAndTheMarkFollowsTheAttempt) {
    open();
    struct Step {
        const char* text;
        const char *type, *exclusion, *family; // of the last row; null: nothing is added
        bool mark;
    };
    std::size_t expected = 0;
    for (const Step& step : {
             Step{"", nullptr, nullptr, nullptr, false}, Step{"443", "Port", "443", "any", false},
             Step{"abc.def", nullptr, nullptr, nullptr, true},
             Step{"", nullptr, nullptr, nullptr, true}, // neither an error nor an add
             Step{"10.1.2.0/24", "Block", "10.1.2.0/24", "IPv4", false},
             Step{"80a", nullptr, nullptr, nullptr, true},
             Step{"44 3", nullptr, nullptr, nullptr, true},
             Step{"2001:db8::1", "Address", "2001:db8::1", "IPv6", false},
             Step{"+0080", "Port", "80", "any", false}, Step{"-1", "Port", "-1", "any", false},
             Step{"2001:db8::/32", "Block", "2001:db8::/32", "IPv6", false},
             Step{"443", "Port", "443", "any", false}, // a second time
         }) {
        typeAndEnter(step.text);
        EXPECT_EQ(markShown(), step.mark) << step.text;
        EXPECT_EQ(field()->text(), QString(step.text)) << "the text stays";
        const auto* model = table()->model();
        if (step.type) {
            ++expected;
            const int last = model->rowCount() - 1;
            EXPECT_EQ(model->index(last, 0).data().toString(), step.type);
            EXPECT_EQ(model->index(last, 1).data().toString(), step.exclusion);
            EXPECT_EQ(model->index(last, 2).data().toString(), step.family);
        }
        ASSERT_EQ(shown().size(), expected) << step.text;
        EXPECT_EQ(list_.exclusionList().size(), expected);
    }
    EXPECT_TRUE(list_.isExcluded("10.1.2.9", "1", "8.8.8.8", "2", 4));
}

TEST_F(ExclusionsEditor, TypingShowsWhatAddWouldMakeAndNeverTouchesTheMark) {
    open();
    type("10.1.2.0/24");
    EXPECT_EQ(preview(), "Block 10.1.2.0/24, IPv4, from 10.1.2.0 to 10.1.2.255");
    type("10.1.2.0/2x");
    EXPECT_EQ(preview(), "");
    EXPECT_FALSE(markShown()) << "nobody has tried to add it";
    QTest::keyClick(field(), Qt::Key_Return);
    EXPECT_TRUE(markShown());
    type("443");
    EXPECT_TRUE(markShown()) << "only an add takes it away";
    QTest::mouseClick(find<QPushButton>("addButton"), Qt::LeftButton);
    EXPECT_FALSE(markShown());
    EXPECT_THAT(shown(), ElementsAre("443"));
}

TEST_F(ExclusionsEditor, RemovingTakesEveryEntryOfTheTextWhateverItsType) {
    add({"10.0.0.1", "10.0.0.2"});
    list_.addExclusion({"odd", "10.0.0.1", std::nullopt, std::nullopt, 4});
    add({"10.0.0.3", "10.0.0.1"});
    open();
    select({0});
    QTest::keyClick(table(), Qt::Key_Delete);
    EXPECT_THAT(shown(), ElementsAre("10.0.0.2", "10.0.0.3"));
    EXPECT_FALSE(list_.isExcluded("10.0.0.1", "1", "8.8.8.8", "2", 4));

    // The keyboard is still in the table, but no row was chosen.
    const int stores = storage_.stores;
    QTest::keyClick(table(), Qt::Key_Delete);
    QTest::mouseClick(find<QPushButton>("removeButton"), Qt::LeftButton);
    controller_->window()->findChild<QAction*>("remove")->trigger();
    EXPECT_EQ(shown().size(), 2u);
    EXPECT_EQ(storage_.stores, stores) << "nothing is stored for nothing";
}

TEST_F(ExclusionsEditor, SeveralRowsGoAtOnceAndTheLastRemovalComesBackWhole) {
    open();
    for (const char* text : {"10.0.0.1", "10.1.0.0/16", "53", "10.0.0.4"})
        typeAndEnter(text);
    const std::vector<VDXExclusion> before = list_.exclusionList();
    auto* const undo = find<QPushButton>("undoButton");
    EXPECT_FALSE(undo->isEnabled());
    select({2, 0});
    QTest::mouseClick(find<QPushButton>("removeButton"), Qt::LeftButton);
    EXPECT_THAT(shown(), ElementsAre("10.1.0.0/16", "10.0.0.4"));
    select({0});
    QTest::keyClick(table(), Qt::Key_Backspace);
    EXPECT_THAT(shown(), ElementsAre("10.0.0.4"));

    QTest::keyClick(table(), Qt::Key_Z, Qt::ControlModifier);
    EXPECT_THAT(list_.exclusionList(), ElementsAre(before[3], before[1])) << "bounds and all";
    EXPECT_FALSE(undo->isEnabled()) << "only the last removal is kept";
    QTest::keyClick(table(), Qt::Key_Z, Qt::ControlModifier);
    EXPECT_THAT(shown(), ElementsAre("10.0.0.4", "10.1.0.0/16"));
}

TEST_F(ExclusionsEditor, KeysInTheFieldEditTheTextAlone) {
    add({"10.0.0.1"});
    open();
    select({0});
    type("12");
    QTest::keyClick(field(), Qt::Key_Backspace);
    QTest::keyClick(field(), Qt::Key_A, Qt::ControlModifier);
    QTest::keyClick(field(), Qt::Key_Delete);
    EXPECT_EQ(field()->text(), "");
    EXPECT_THAT(shown(), ElementsAre("10.0.0.1"));
}

TEST_F(ExclusionsEditor, CopyAndSelectAllWorkOnTheTable) {
    add({"10.0.0.1", "10.0.0.2", "10.0.0.3"});
    open();
    table()->setFocus();
    QTest::keyClick(table(), Qt::Key_A, Qt::ControlModifier);
    QTest::keyClick(table(), Qt::Key_C, Qt::ControlModifier);
    EXPECT_EQ(QApplication::clipboard()->text(), "10.0.0.1\n10.0.0.2\n10.0.0.3");
    QTest::keyClick(table(), Qt::Key_Delete);
    EXPECT_THAT(shown(), IsEmpty());
}

TEST_F(ExclusionsEditor, ChangesMadeElsewhereShowAndKeepTheSelection) {
    add({"10.0.0.1", "10.0.0.2"});
    open();
    QAbstractItemModelTester tester(table()->model(),
                                    QAbstractItemModelTester::FailureReportingMode::Fatal);
    select({1});
    add({"10.0.0.3"});
    EXPECT_THAT(shown(), ElementsAre("10.0.0.1", "10.0.0.2", "10.0.0.3"));
    ASSERT_EQ(table()->selectionModel()->selectedRows().size(), 1);
    EXPECT_EQ(table()->selectionModel()->selectedRows().front().row(), 1);
    list_.removeExclusions(std::vector<std::string>{"10.0.0.1", "10.0.0.3"});
    EXPECT_THAT(shown(), ElementsAre("10.0.0.2"));
}

TEST_F(ExclusionsEditor, ReopeningShowsTheSameWindowWithTheCurrentList) {
    open();
    EXPECT_EQ(feedSwitches_, 1);
    EXPECT_TRUE(registeredAtSwitch_) << "the feed is decided once the view is known";
    QMainWindow* const window = controller_->window();
    const auto entry = views_.find("exclusions");
    controller_->close();
    EXPECT_FALSE(window->isVisible());
    EXPECT_EQ(views_.find("exclusions"), entry) << "a closed editor still hears of commits";
    add({"10.0.0.1"});
    controller_->present();
    EXPECT_EQ(controller_->window(), window);
    EXPECT_TRUE(window->isVisible());
    EXPECT_EQ(feedSwitches_, 1);
    EXPECT_THAT(shown(), ElementsAre("10.0.0.1"));

    controller_.reset();
    EXPECT_EQ(views_.find("exclusions"), nullptr);
    EXPECT_EQ(entry->exclusions, nullptr);
    add({"10.0.0.2"}); // reaches nobody, and nothing that is gone
}

TEST_F(ExclusionsEditor, EveryControlCanBeNamedAndExplained) {
    open();
    for (const char* name : {"textfield_addExlusion", "table", "image_error", "preview"})
        EXPECT_FALSE(find<QWidget>(name)->accessibleName().isEmpty()) << name;
    for (const char* name : {"addButton", "removeButton", "undoButton", "textfield_addExlusion"})
        EXPECT_FALSE(find<QWidget>(name)->toolTip().isEmpty()) << name;
    for (const char* name : {"add", "remove", "undo", "copy", "selectAll", "close"}) {
        const auto* action = find<QAction>(name);
        EXPECT_FALSE(action->shortcut().isEmpty()) << name;
        EXPECT_NE(action->toolTip(), action->iconText()) << name;
    }
}

TEST(ExclusionWording, PreviewTellsWhatIsMadeAndWhyItMayHideNothing) {
    const std::pair<const char*, const char*> cases[] = {
        {"", ""},
        {"abc.def", ""},
        {"1.2.3.4/32", ""},
        {"99999999999999999999", ""},
        {"443", "Port 443, source or destination"},
        {"0", "Port 0, source or destination"},
        {"+65535", "Port 65535, source or destination"},
        {"65536", "Port 65536; ports end at 65535, so this hides nothing"},
        {"-1", "Port -1; ports end at 65535, so this hides nothing"},
        {"10.0.0.1", "Address 10.0.0.1, IPv4"},
        {"2001:DB8::1", "Address 2001:DB8::1, IPv6; records spell it 2001:db8::1 and stay visible"},
        {"10.1.2.77/24", "Block 10.1.2.77/24, IPv4, from 10.1.2.0 to 10.1.2.255"},
        {"2001:db8::/32", "Block 2001:db8::/32, IPv6, from 2001:db8:: to "
                          "2001:db8:ffff:ffff:ffff:ffff:ffff:ffff"},
    };
    for (const auto& [text, expected] : cases)
        EXPECT_EQ(previewText(text).toStdString(), expected) << text;
}

} // namespace
} // namespace brindle

int main(int argc, char** argv) {
    testing::InitGoogleMock(&argc, argv);
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication application(argc, argv);
    return RUN_ALL_TESTS();
}
