#include "tests/examples/upgrade_service/service_test.h"

#include <stdlib.h>

#include "tests/update/owner_gate.h"
#include "upgrade_service/work.h"

namespace board_test {

using upgrade_service::LibraryOutput;

void ServiceTest::SetUp()
{
    UpdateTest::SetUp();
    refuse_owner(2);
    upgrade_service::interrupts = 0;
    set_upgrade_status(0, 0);
    flash_before_ = board.bios_flash().contents();
}

End ServiceTest::run(const std::function<End(Service &)> &command, Output::Format format)
{
    char *text = nullptr;
    size_t length = 0;
    FILE *const stream = open_memstream(&text, &length);
    End end;
    {
        LibraryOutput library("");
        Output output(stream, format);
        Service service(library, output, [this](ExitCode code) { left_ = code; });
        end = command(service);
        output.end(end);
    }
    fclose(stream);
    shown_ = text;
    free(text);
    EXPECT_EQ(output(), "") << "the library's words are among the service's";
    if (end.bios_flash) {
        EXPECT_EQ(end.bios_flash->controller_owns, controller_owns_bios_flash());
        EXPECT_EQ(end.bios_flash->driver_loaded, bios_driver_loaded());
    }
    EXPECT_EQ(end.succeeded(), end.why.empty()) << end.why;
    return end;
}

std::string told(const End &end)
{
    return std::to_string(static_cast<int>(end.code)) + "; " + end.contents + "; " + end.library;
}

} // namespace board_test
