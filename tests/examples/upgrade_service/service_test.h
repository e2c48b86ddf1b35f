// Fixture of tests that run the upgrade service's commands on a virtual board.
#ifndef TESTS_EXAMPLES_UPGRADE_SERVICE_SERVICE_TEST_H
#define TESTS_EXAMPLES_UPGRADE_SERVICE_SERVICE_TEST_H

#include <optional>
#include <string>

#include "tests/update/update_test.h"
#include "upgrade_service/service.h"

namespace board_test {

using upgrade_service::BiosFlash;
using upgrade_service::End;
using upgrade_service::ExitCode;
using upgrade_service::Output;
using upgrade_service::Service;

class ServiceTest : public UpdateTest {
protected:
    // Runs a command. What it says of the BIOS flash is held against the board,
    // and nothing of the library's may be on standard output.
    End run(const std::function<End(Service &)> &command,
            Output::Format format = Output::Format::text);

    // What the service showed.
    const std::string &shown() const { return shown_; }
    // The code with which it left in the middle, if it did.
    const std::optional<ExitCode> &left() const { return left_; }

    // The flash as it was before the test changed it.
    const Bytes &flash_before() const { return flash_before_; }
    void SetUp() override;

private:
    Bytes flash_before_;
    std::string shown_;
    std::optional<ExitCode> left_;
};

// Code, contents and library's words of an End in one text, for tables.
std::string told(const End &end);

} // namespace board_test

#endif
