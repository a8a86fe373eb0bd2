// SPDX-License-Identifier: BSD-2-Clause
//
// The link to the firewall application Vardex: hands it addresses by notification, starts it when
// it must take some and does not run, and hears when it quits. Keeps no state: whether Vardex runs
// is found out anew each time. Owned by the composition root; main thread. Nobody waits for Vardex.
//
//     VDXVardexLink link(*broadcasts, console, directoryOfThisProgram);
//     context.link = &link;
#pragma once

#include "app/AppContext.h"
#include "platform/broadcast/BroadcastCenter.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace brindle {

class VDXVardexLink final : public FirewallLink {
  public:
    /// The bus name under which Vardex is found, and the viewer's own.
    static constexpr const char* kVardexName = "org.vardex.Vardex";
    static constexpr const char* kBrindleName = "org.vardex.Brindle";

    /// Starts a program without waiting for it; a failure changes nothing.
    using Launch =
        std::function<void(const std::string& program, const std::vector<std::string>& arguments)>;

    /// `bundleLocation`: the directory that holds the viewer's executable. `broadcasts` outlives
    /// the link.
    VDXVardexLink(platform::BroadcastCenter& broadcasts, Console console,
                  std::string bundleLocation, Launch launch = startDetached);

    /// Puts addresses on Vardex's black list, each once: a notification and a console line while it
    /// runs, otherwise a start of Vardex with them. An empty list is handed over too.
    void blackListAddresses(std::vector<std::string> addresses) override;

    /// Posts the addresses in their order, whether Vardex runs or not.
    void sendAddresses(std::vector<std::string> addresses) override;

    bool isFirewallAppRunning() const;

    /// `terminate`: each time Vardex says that it quits, while the observation lives.
    [[nodiscard]] std::unique_ptr<platform::Observation>
    observeQuitting(std::function<void()> terminate) const;

    /// Vardex's executable: three levels above the viewer's directory. Nothing where there are not
    /// as many levels, or the location is not absolute.
    static std::optional<std::string> vardexProgram(std::string_view bundleLocation);

    static void startDetached(const std::string& program,
                              const std::vector<std::string>& arguments);

  private:
    platform::BroadcastCenter& broadcasts_;
    const Console console_;
    const std::string bundleLocation_;
    const Launch launch_;
};

} // namespace brindle
