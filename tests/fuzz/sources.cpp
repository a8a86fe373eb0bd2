// SPDX-License-Identifier: BSD-2-Clause
//
// What a configuration or a command line names as a source.
#include "tallyd/sources/SourceSpec.h"
#include "tests/fuzz/Target.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace brindle;
    const auto plan = tallyd::parseSourceSpec(std::string(test::textOf(data, size)));
    if (!plan)
        test::require(!plan.error().empty());
    else if (const auto* replay = std::get_if<tallyd::ReplayPlan>(&*plan))
        test::require(!replay->path.empty() && (!replay->speed || *replay->speed > 0));
    else if (const auto* device = std::get_if<tallyd::PflogInterfacePlan>(&*plan))
        test::require(!device->interface.empty());
    return 0;
}
