// What operators deploy: the service unit passes the service manager's own check, and the status
// page draws its plots in a real browser. Each is skipped where its tool is not installed.
#include <gtest/gtest.h>

#include <iterator>

#include "support/Command.h"
#include "support/GameServer.h"

namespace {

std::string Read(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

void Replace(std::string& text, const std::string& from, const std::string& to) {
    size_t at = text.find(from);
    ASSERT_NE(at, std::string::npos) << from;
    text.replace(at, from.size(), to);
}

TEST(Packaging, ServiceUnitVerifies) {
    if (access("/usr/bin/systemd-analyze", X_OK) != 0) GTEST_SKIP() << "systemd-analyze is not installed";
    TempDir dir;
    // The unit as shipped, pointed at the binary just built and a folder that exists here.
    std::string unit = Read(std::string(QV_SOURCE_DIR) + "/packaging/quorvane.service");
    ASSERT_FALSE(unit.empty());
    Replace(unit, "ExecStart=/usr/local/bin/quorvane ", "ExecStart=" + std::string(QV_SERVER_BINARY) + " ");
    Replace(unit, "WorkingDirectory=/var/lib/quorvane", "WorkingDirectory=" + dir.Path());
    std::string path = dir.Path() + "/quorvane.service";
    std::ofstream(path) << unit;
    CommandResult check = RunCommand("SYSTEMD_LOG_LEVEL=warning /usr/bin/systemd-analyze verify " + path);
    EXPECT_EQ(check.code, 0) << check.output;
    EXPECT_EQ(check.output.find("quorvane.service:"), std::string::npos) << check.output;
}

TEST(Packaging, StatusPageDrawsInABrowser) {
    if (access("/usr/bin/chromium", X_OK) != 0) GTEST_SKIP() << "chromium is not installed";
    TempDir browserHome;
    int port = FreeTcpPort();
    GameServer server({}, {"--status-port", std::to_string(port)});
    ASSERT_TRUE(server.Ready());
    std::string browser = "HOME=" + browserHome.Path() +
                          " timeout 60 /usr/bin/chromium --headless --no-sandbox --disable-gpu --no-first-run "
                          "--user-data-dir=" +
                          browserHome.Path() + "/profile --window-size=1000,900 --virtual-time-budget=5000 ";
    std::string url = "http://127.0.0.1:" + std::to_string(port) + "/";

    CommandResult dom = RunCommand(browser + "--dump-dom " + url);
    EXPECT_EQ(dom.code, 0) << dom.output;
    // The script marks the body once it has drawn the plots from /status.json.
    EXPECT_NE(dom.output.find("<body data-drawn=\""), std::string::npos) << dom.output.substr(0, 2000);
    EXPECT_NE(dom.output.find("Players online<b>0</b>"), std::string::npos);

    std::string png = browserHome.Path() + "/status.png";
    CommandResult shot = RunCommand(browser + "--screenshot=" + png + " " + url);
    EXPECT_EQ(shot.code, 0) << shot.output;
    std::string image = Read(png);
    ASSERT_GT(image.size(), 8u);
    EXPECT_EQ(image.substr(0, 8), std::string("\x89PNG\r\n\x1a\n", 8));
}

} // namespace
