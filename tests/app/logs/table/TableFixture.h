// SPDX-License-Identifier: BSD-2-Clause
//
// Rows for the tests of the logs table: a few by hand, or many at random, and queues whose tasks
// run when the test says so.
#pragma once

#include "app/logs/table/LogsArrayController.h"

#include <deque>
#include <map>
#include <mutex>
#include <random>
#include <string>
#include <vector>

namespace brindle::testing {

/// Keeps tasks until the test runs them; any thread may submit.
class HeldQueue final : public platform::DispatchQueue {
  public:
    void async(platform::Task task) override {
        const std::lock_guard lock(mutex_);
        tasks_.push_back(std::move(task));
    }
    void sync(platform::Task task) override { task(); }
    const std::string& label() const override { return label_; }
    /// False when there was nothing to run.
    bool runOne() {
        platform::Task task;
        {
            const std::lock_guard lock(mutex_);
            if (tasks_.empty())
                return false;
            task = std::move(tasks_.front());
            tasks_.pop_front();
        }
        task();
        return true;
    }
    void runAll() {
        while (runOne()) {
        }
    }

  private:
    std::mutex mutex_;
    std::deque<platform::Task> tasks_;
    std::string label_ = "held";
};

/// What a row is made of; ports and uid as numbers, the rest as text.
struct RowSpec {
    double epoch = 1700000000;
    std::uint32_t uid = kNoUid;
    std::uint16_t srcport = 50000;
    std::uint16_t dstport = 443;
    std::string rule = "12";
    std::string action = "block";
    std::string direction = "in";
    std::string interface = "em0";
    std::string srcip = "192.0.2.1";
    std::string dstip = "198.51.100.7";
    std::string proto = "tcp";
};

inline std::shared_ptr<const RecordBatch> makeBatch(const std::vector<RowSpec>& specs) {
    RecordBatchBuilder builder;
    for (const RowSpec& spec : specs) {
        RecordRow row;
        row.epoch = spec.epoch;
        row.uid = spec.uid;
        row.srcport = spec.srcport;
        row.dstport = spec.dstport;
        row.rule = builder.intern(spec.rule);
        row.action = builder.intern(spec.action);
        row.direction = builder.intern(spec.direction);
        row.interface = builder.intern(spec.interface);
        row.srcip = builder.intern(spec.srcip);
        row.dstip = builder.intern(spec.dstip);
        row.proto = builder.intern(spec.proto);
        builder.add(row);
    }
    return builder.finish();
}

class TableFixture {
  public:
    explicit TableFixture(unsigned seed = 1) : random_(seed) {
        VDXSystemUser anna;
        anna.posixID = 1000;
        anna.posixName = "anna";
        anna.smallRoundImage = Picture::named("face");
        VDXSystemUser bob;
        bob.posixID = 1001;
        bob.posixName = "Bob";
        tables.systemUserList = {anna, bob};
        tables.portNames = PortNames({{"443", "https"}, {"22", "ssh"}, {"8080", "http-alt"}});
    }

    void seed(unsigned value) { random_.seed(value); }
    int number(int below) { return std::uniform_int_distribution(0, below - 1)(random_); }
    template <typename T>
    const T& pick(const std::vector<T>& values) {
        return values[static_cast<std::size_t>(number(static_cast<int>(values.size())))];
    }

    RowSpec randomSpec() {
        RowSpec spec;
        // Ten quarters of an hour around a change of the clock, and some from before 1970.
        spec.epoch = number(20) == 0 ? -number(1000000) - 0.5 : 1162697400 + number(90000) / 10.0;
        spec.uid = pick<std::uint32_t>({0, 1000, 1001, 65534, kNoUid});
        spec.srcport = static_cast<std::uint16_t>(number(65536));
        spec.dstport = pick<std::uint16_t>({22, 443, 8080, 0, 1999});
        spec.rule = pick<std::string>({"1", "2", "10", "12", "112", "ssh/12", "Zed", "alpha"});
        spec.action = pick<std::string>({"block", "pass", "rdr"});
        spec.direction = pick<std::string>({"in", "out"});
        spec.interface = pick<std::string>({"em0", "em1", "em10", "lo0"});
        spec.srcip = randomAddress();
        spec.dstip = randomAddress();
        spec.proto = pick<std::string>({"tcp", "udp", "icmp", "ipv6-icmp"});
        return spec;
    }
    std::shared_ptr<const RecordBatch> randomBatch(std::size_t rows) {
        std::vector<RowSpec> specs(rows);
        for (RowSpec& spec : specs)
            spec = randomSpec();
        return makeBatch(specs);
    }
    /// With texts that no batch can hold, now and then.
    VDXLog randomLog() {
        if (number(50) == 0)
            return VDXLog();
        VDXLog log(randomBatch(1), 0, tables);
        if (number(4) == 0)
            log.setText(LogField::addresssrcip, randomName());
        if (number(8) == 0)
            log.setText(LogField::dstport, pick<std::string>({"-1", "70000", "none"}));
        return log;
    }
    std::string randomName() {
        return pick<std::string>({"Host-9.example", "host-10.example", "host-10.Example"});
    }

    LogTables tables{[](std::uint32_t uid) { return uid == 0 ? "root" : ""; }};

  private:
    std::string randomAddress() {
        switch (number(8)) {
        case 0:
            return "2001:db8::" + std::to_string(number(20));
        case 1:
            return pick<std::string>({"010.1.1.1", "unknown", "", "fe80::1", "FE80::1"});
        default:
            return "10." + std::to_string(number(3)) + "." + std::to_string(number(12)) + "." +
                   std::to_string(number(3));
        }
    }

    std::mt19937 random_;
};

} // namespace brindle::testing
