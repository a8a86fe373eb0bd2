# Every library the project builds on; the Debian packages that carry them are listed in
# packaging/packages.txt.

find_package(Threads REQUIRED)
find_package(PkgConfig REQUIRED)
find_package(fmt REQUIRED)
find_package(spdlog REQUIRED)
find_package(CLI11 REQUIRED)
find_package(nlohmann_json REQUIRED)
find_package(tl-expected REQUIRED)
find_package(CapnProto REQUIRED)
find_package(GTest REQUIRED)
include(GoogleTest)
find_package(benchmark REQUIRED)
pkg_check_modules(sqlite3 REQUIRED IMPORTED_TARGET sqlite3)
pkg_check_modules(pcap REQUIRED IMPORTED_TARGET libpcap)
pkg_check_modules(systemd REQUIRED IMPORTED_TARGET libsystemd)
pkg_check_modules(seccomp REQUIRED IMPORTED_TARGET libseccomp)
pkg_check_modules(libplist REQUIRED IMPORTED_TARGET libplist-2.0)
pkg_check_modules(cares REQUIRED IMPORTED_TARGET libcares)

if(BRINDLE_VIEWER)
    find_package(Qt6 6.4 REQUIRED COMPONENTS Widgets Svg DBus Test)
endif()
