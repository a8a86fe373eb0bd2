// SPDX-License-Identifier: BSD-2-Clause
//
// makecapture: writes captures of made-up traffic, the same for the same arguments.
//
//     makecapture --kind freebsd --count 1000000 --seed 7 --span 86400 pflog.pcap
//     makecapture --kind mixed-per-kind --count 200 captures/    # captures/openbsd.pcap, …
#include "bench/captures/CaptureFile.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <filesystem>
#include <map>

using namespace brindle::bench;

int main(int argc, char** argv) {
    CLI::App app(
        "Writes captures of made-up packet filter traffic, the same for the same arguments");
    std::string kind = "openbsd";
    std::string precision = "us";
    std::string path;
    bool swapped = false;
    bool worldwide = false;
    CaptureOptions options;

    constexpr const char* kEveryKind = "mixed-per-kind";
    std::map<std::string, CaptureKind> kinds;
    for (const auto& [value, name] : captureKinds())
        kinds[std::string(name)] = value;
    std::vector<std::string> names{kEveryKind};
    for (const auto& [name, value] : kinds)
        names.push_back(name);

    app.add_option("--kind", kind, "The system whose log it is; mixed-per-kind writes a file each")
        ->check(CLI::IsMember(names));
    app.add_option("--count", options.count, "Packets")->check(CLI::PositiveNumber);
    app.add_option("--seed", options.seed, "Other traffic of the same nature");
    app.add_option("--addresses", options.addresses, "Distinct remote addresses at the most")
        ->check(CLI::Range(5, 150'000));
    app.add_flag("--worldwide", worldwide, "Remote addresses of any network, drawn blindly");
    app.add_option("--start", options.start, "Time of the first packet, seconds since 1970");
    app.add_option("--span", options.span, "Seconds that the packets are spread over")
        ->check(CLI::NonNegativeNumber);
    app.add_flag("--swapped", swapped, "Write the file in big-endian order");
    app.add_option("--precision", precision, "Of the times: us or ns")
        ->check(CLI::IsMember({"us", "ns"}));
    app.add_option("OUT", path, "The file; the folder for mixed-per-kind")->required();
    CLI11_PARSE(app, argc, argv);

    options.remote = worldwide ? Traffic::Remote::worldwide : Traffic::Remote::documentation;
    options.order = swapped ? FileOrder::bigEndian : FileOrder::littleEndian;
    options.precision = precision == "ns" ? Precision::nanoseconds : Precision::microseconds;
    if (kind == kEveryKind) {
        std::error_code failure; // told by the first file that cannot be written
        std::filesystem::create_directories(path, failure);
    }
    for (const auto& [name, value] : kinds) {
        if (kind != kEveryKind && kind != name)
            continue;
        options.kind = value;
        const std::string file = kind == kEveryKind ? path + "/" + name + ".pcap" : path;
        if (const auto written = writeCapture(options, file); !written) {
            std::fprintf(stderr, "makecapture: %s\n", written.error().c_str());
            return 1;
        }
    }
    return 0;
}
