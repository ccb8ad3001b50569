/// A host with the test module in the service's place and a home folder of its own.
#pragma once

#include <optional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/scratch_folder.h"
#include "system/host_process.h"

namespace qvant::test {

class HostTest : public ::testing::Test {
protected:
    /// The options that every host of these tests has.
    std::vector<std::string> MakeOptions() const {
        const std::string strHome = m_home.GetPath().string();
        return {
            "--home", strHome, "--common-data", strHome + "/common", "--module", LibraryPath("libhost_test_module.so")};
    }

    /// Starts the host in machine mode; one that runs already is ended first.
    CHostProcess& Start(const std::vector<std::string>& arMore = {}) {
        std::vector<std::string> arOptions = MakeOptions();
        arOptions.insert(arOptions.end(), arMore.begin(), arMore.end());
        m_host.reset();
        return m_host.emplace(arOptions);
    }

    /// Runs the host in words over an input, to its end. @return all that it wrote
    std::string RunWords(std::string_view strInput) {
        std::vector<std::string> arCommand = MakeOptions();
        arCommand.insert(arCommand.begin(), ProgramPath("lumivale-host"));
        CProcess process(arCommand);
        process.Write(strInput);
        process.CloseInput();
        std::string strOutput = process.ReadAll();
        EXPECT_EQ(process.Wait(), 0) << process.GetErrors();
        return strOutput;
    }

    CScratchFolder m_home;

private:
    std::optional<CHostProcess> m_host;
};

}  // namespace qvant::test
