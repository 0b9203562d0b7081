#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "TestSupport.h"
#include "jobs/SystemdUnits.h"
#include "process/ProcessRunner.h"

namespace pellix {
namespace {

using test::TempDir;

const JobValues kValues{"/home/me/.openclaw/workspace-main/agents/pellix-unified",
                        "/usr/bin/python3", "/home/me", "/home/me/.openclaw"};

JobValues valuesFor(const AgentJob& job, JobValues values = kValues) {
    if (!job.runByPython) values.interpreter = kBashPath;
    return values;
}

std::string golden(const std::string& name) {
    return test::readFile(std::string(PELLIX_TEST_DATA_DIR) + "/units/" + name);
}

TEST(SystemdUnits, ServiceUnitMatchesItsGoldenByteForByte) {
    EXPECT_EQ(serviceUnit(kServiceJob, valuesFor(kServiceJob)),
              golden("ai.pellix.pellix-service.service"));
}

TEST(SystemdUnits, ScannerServicesAndTimersMatchTheirGoldensByteForByte) {
    for (const AgentJob& job : kScannerJobs) {
        EXPECT_EQ(serviceUnit(job, valuesFor(job)), golden(serviceUnitName(job)));
        EXPECT_EQ(timerUnit(job), golden(timerUnitName(job)));
    }
}

TEST(SystemdUnits, UnitNamesAreTheLaunchdLabels) {
    EXPECT_EQ(serviceUnitName(kServiceJob), "ai.pellix.pellix-service.service");
    EXPECT_EQ(serviceUnitName(kScannerJobs[0]), "ai.pellix.pellix.wal.service");
    EXPECT_EQ(timerUnitName(kScannerJobs[1]), "ai.pellix.pellix.tripwire-grep.timer");
    EXPECT_EQ(timerUnitName(kScannerJobs[2]), "ai.pellix.pellix.tripwire-ai.timer");
}

TEST(SystemdUnits, TimersFireAtOnceThenThreeHundredThreeHundredAndNineHundredAfterEachRun) {
    EXPECT_NE(timerUnit(kScannerJobs[0]).find("\nOnStartupSec=0\nOnUnitInactiveSec=300\n"),
              std::string::npos);
    EXPECT_NE(timerUnit(kScannerJobs[1]).find("\nOnStartupSec=0\nOnUnitInactiveSec=300\n"),
              std::string::npos);
    EXPECT_NE(timerUnit(kScannerJobs[2]).find("\nOnStartupSec=0\nOnUnitInactiveSec=900\n"),
              std::string::npos);
}

TEST(SystemdUnits, BlankPercentDollarQuoteAndBackslashAreEscapedForSystemd) {
    JobValues values = valuesFor(kServiceJob);
    values.pellixDir = "/home/me/My \"Agents\" 100% $HOME\\x";
    values.home = "/home/m e";
    const std::string unit = serviceUnit(kServiceJob, values);
    EXPECT_NE(unit.find("\nExecStart=\"/usr/bin/python3\" \"/home/me/My \\\"Agents\\\" 100%% "
                        "$$HOME\\\\x/scripts/pellix-service.py\"\n"),
              std::string::npos)
        << unit;
    EXPECT_NE(unit.find("\"HOME=/home/m e\""), std::string::npos) << unit;
    EXPECT_NE(unit.find("\nStandardOutput=append:/home/me/My \"Agents\" 100%% "
                        "$HOME\\x/ops/pellix-service-stdout.log\n"),
              std::string::npos)
        << unit;
}

TEST(SystemdUnits, UnitFolderIsUnderTheConfigHome) {
    EXPECT_EQ(systemdUserUnitFolder("/home/me/.config"), "/home/me/.config/systemd/user");
}

// systemd's own reading of the units, with real executables and a path holding a blank and a
// percent sign. Any complaint (it prints them and still exits 0) fails the test.
TEST(SystemdUnits, SystemdAnalyzeVerifyAcceptsEveryUnit) {
    if (::access("/usr/bin/systemd-analyze", X_OK) != 0) {
        GTEST_SKIP() << "systemd-analyze is not installed (scripts/setup installs systemd)";
    }
    if (::access("/usr/bin/python3", X_OK) != 0) GTEST_SKIP() << "no /usr/bin/python3 here";
    TempDir temp;
    JobValues values{temp / "My Agents 100%/pellix-unified", "/usr/bin/python3", temp / "home",
                     temp / "home/.openclaw"};
    test::writeSampleAgent(values.pellixDir);
    test::makeDirs(values.pellixDir + "/ops/wal");
    const std::string units = temp / "units";
    std::string names;
    for (const AgentJob& job : kAgentJobs) {
        test::writeFile(units + "/" + serviceUnitName(job),
                        serviceUnit(job, valuesFor(job, values)));
        names += " " + serviceUnitName(job);
        if (job.alwaysOn()) continue;
        test::writeFile(units + "/" + timerUnitName(job), timerUnit(job));
        names += " " + timerUnitName(job);
    }
    test::makeDirs(temp / "runtime");
    std::filesystem::permissions(temp / "runtime", std::filesystem::perms::owner_all);
    ChildLimits limits;
    limits.extraEnvironment = {"XDG_RUNTIME_DIR=" + (temp / "runtime")};
    limits.timeLimit = std::chrono::seconds(60);
    const ShellResult verified =
        runChild("/bin/sh", "cd " + units + " && systemd-analyze verify --user" + names,
                 "/usr/bin:/bin", temp / "home", limits)
            .result;
    EXPECT_EQ(verified, (ShellResult{0, ""}));
}

}  // namespace
}  // namespace pellix
