// SPDX-License-Identifier: BSD-2-Clause
//
// A logs window over a fake daemon, with everything the composition root would hand to it.
#pragma once

#include "app/logs/LogsTable.h"
#include "app/logs/VDXLogsViewController.h"
#include "app/logs/VDXLogsWindowController.h"
#include "tests/app/support/WindowTest.h"

#include <QComboBox>
#include <QLineEdit>
#include <QTest>

#include <string>
#include <vector>

namespace brindle::test {

class LogsWindowTest : public WindowTest {
  protected:
    LogsWindowTest() {
        context.makeListWindow = [this](const ListOpening& opening) {
            lists.push_back(opening);
            return listWindow = std::make_shared<FakeWindow>();
        };
    }
    ~LogsWindowTest() override {
        if (const auto logs = windowControllers.find("logs")) {
            logs->close();
        }
        controller.reset();
        settle();
    }

    void open() {
        controller = std::make_shared<VDXLogsWindowController>(context);
        windowControllers.set("logs", controller);
        controller->present();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(controller->window()));
    }

    template <typename Widget>
    Widget* child(const char* name) {
        return controller->window()->findChild<Widget*>(QLatin1String(name));
    }
    LogsTable& table() { return *child<LogsTable>("table"); }
    VDXLogsViewController& view() {
        return *controller->window()->findChild<VDXLogsViewController*>();
    }
    int rows() { return table().model()->rowCount(); }
    std::string cell(int row, LogColumn column) {
        return table()
            .model()
            ->index(row, static_cast<int>(column))
            .data()
            .toString()
            .toStdString();
    }
    std::vector<std::string> sources() {
        std::vector<std::string> texts;
        for (int row = 0; row < rows(); ++row) {
            texts.push_back(cell(row, LogColumn::source));
        }
        return texts;
    }
    /// As the user does it: with the keyboard.
    void choosePeriod(int index) {
        QTest::keyClick(controller->window(), static_cast<Qt::Key>(Qt::Key_1 + index),
                        Qt::ControlModifier);
    }
    void select(std::initializer_list<int> which) {
        table().clearSelection();
        for (const int row : which) {
            table().scrollTo(table().model()->index(row, 1));
            QTest::mouseClick(table().viewport(), Qt::LeftButton, Qt::ControlModifier,
                              table().visualRect(table().model()->index(row, 1)).center());
        }
    }
    /// Answers the last query in one piece.
    void answer(const std::vector<Sample>& samples) {
        FakeQuery& query = daemon.lastQuery();
        if (!samples.empty()) {
            query.answer(batchOf(samples));
        }
        settle();
        query.end();
        settle();
        settle();
    }

    std::vector<ListOpening> lists;
    std::shared_ptr<FakeWindow> listWindow;
    std::shared_ptr<VDXLogsWindowController> controller;
};

} // namespace brindle::test
