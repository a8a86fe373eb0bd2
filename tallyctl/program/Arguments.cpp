// SPDX-License-Identifier: BSD-2-Clause
#include "tallyctl/program/Arguments.h"

#include "core/log/records/RecordText.h"
#include "core/net/IpAddress.h"
#include "platform/connection/UnixSocket.h"

#include <map>
#include <sstream>

#include <CLI/CLI.hpp>

namespace brindle::tallyctl {

namespace {

const CLI::Validator kEpoch(
    [](std::string& text) {
        return epochFromText(text) ? std::string()
                                   : "not a time in decimal seconds since 1970: " + text;
    },
    "SECONDS");

const CLI::Validator kAddress(
    [](std::string& text) {
        return IpAddress::parse(text) ? std::string() : "not an IPv4 or IPv6 address: " + text;
    },
    "ADDRESS");

const std::map<std::string, Format> kFormats{
    {"table", Format::table}, {"csv", Format::csv}, {"jsonl", Format::jsonl}};
const std::map<std::string, Format> kStatusFormats{{"table", Format::table},
                                                   {"json", Format::jsonl}};

class CommandLine {
  public:
    CommandLine() {
        app_.name("tallyctl");
        app_.require_subcommand(1);
        app_.fallthrough();
        app_.add_option("--socket", arguments_.socketPath, "the daemon's socket")
            ->type_name("PATH");

        add(Command::version, "version", "the daemon's version");
        auto* query = add(Command::query, "query", "records of a period, newest first");
        epochOption(query, "--from", arguments_.from, "first moment of the period");
        epochOption(query, "--to", arguments_.to, "last moment of the period");
        formatOption(query, kFormats);

        auto* count = add(Command::count, "count", "how often each address or port was seen");
        sinceOptions(count);
        count->add_option("--obj", arguments_.object, "the field that is counted")
            ->required()
            ->check(CLI::IsMember({"SRCIP", "DSTIP", "DSTPORT"}));
        auto* portsOf = add(Command::portsOf, "ports-of", "the ports seen with an address");
        sinceOptions(portsOf);
        portsOf->add_option("--ip", arguments_.address, "the address")->required()->check(kAddress);
        auto* addressesOf = add(Command::addressesOf, "addresses-of", "the addresses of a port");
        sinceOptions(addressesOf);
        addressesOf->add_option("--port", arguments_.port, "the port")
            ->required()
            ->check(CLI::Range(0, 65535));
        for (auto* breakdown : {portsOf, addressesOf})
            breakdown->add_flag("--pie", pie_, "the list a pie chart is drawn from");

        tailFormat_ =
            formatOption(add(Command::tail, "tail", "live records until interrupted"), kFormats);
        add(Command::oldest, "oldest", "date of the oldest record");
        add(Command::newest, "newest", "date of the newest record");
        add(Command::rows, "rows", "number of stored records");
        epochOption(add(Command::purge, "purge", "removes old records"), "--before",
                    arguments_.before, "records before this moment are removed");
        auto* status = add(Command::status, "status", "how the daemon is doing");
        formatOption(status, kStatusFormats);
        status->add_flag("--json", json_, "the same as --format json");
    }

    tl::expected<Arguments, UsageEnd> parse(int count, const char* const* values) {
        try {
            app_.parse(count, values);
        } catch (const CLI::ParseError& error) {
            std::ostringstream text;
            const bool helped = app_.exit(error, text, text) == 0;
            return tl::make_unexpected(UsageEnd{helped ? 0 : 2, text.str()});
        }
        if (arguments_.socketPath.empty())
            arguments_.socketPath = platform::daemonSocketPath();
        if (pie_)
            arguments_.list = BreakdownList::pie;
        if (json_ || (arguments_.command == Command::tail && tailFormat_->count() == 0))
            arguments_.format = Format::jsonl;
        return arguments_;
    }

  private:
    CLI::App* add(Command command, const std::string& name, const std::string& description) {
        auto* subcommand = app_.add_subcommand(name, description);
        subcommand->callback([this, command] { arguments_.command = command; });
        return subcommand;
    }

    static void epochOption(CLI::App* command, const std::string& name, double& value,
                            const std::string& description) {
        // The validator settles what a time is; the conversion of the library takes more.
        command
            ->add_option_function<std::string>(
                name, [&value](const std::string& text) { value = *epochFromText(text); },
                description)
            ->required()
            ->check(kEpoch);
    }

    CLI::Option* formatOption(CLI::App* command, const std::map<std::string, Format>& names) {
        std::string list;
        for (const auto& [name, format] : names)
            list += (list.empty() ? "" : "|") + name;
        return command
            ->add_option_function<std::string>(
                "--format",
                [this, &names](const std::string& text) { arguments_.format = names.at(text); },
                "how it is printed")
            ->type_name(list)
            ->check(CLI::IsMember(&names));
    }

    void sinceOptions(CLI::App* command) {
        epochOption(command, "--epoch", arguments_.epoch, "records since this moment count");
        command->add_option("--action", arguments_.action, "pass or block")
            ->required()
            ->check(CLI::IsMember({"pass", "block"}));
        command->add_option("--direction", arguments_.direction, "in or out")
            ->required()
            ->check(CLI::IsMember({"in", "out"}));
        formatOption(command, kFormats);
        command->add_flag("--time", arguments_.time,
                          "tells on standard error how long the answer took");
    }

    CLI::App app_{"Asks tallyd, the packet-filter log daemon."};
    Arguments arguments_;
    CLI::Option* tailFormat_ = nullptr;
    bool pie_ = false;
    bool json_ = false;
};

} // namespace

tl::expected<Arguments, UsageEnd> parseArguments(int count, const char* const* values) {
    return CommandLine().parse(count, values);
}

} // namespace brindle::tallyctl
