// A page handed to hostcapture-summary: the input is the file's bytes. It is read, counted into
// a fleet, rendered into the overview and redacted, as a summary run does with every page.

#include "FleetOverview.h"
#include "FleetTally.h"
#include "PageReader.h"
#include "PageRedactor.h"
#include "RedactionKey.h"

#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    HostPage page;
    page.File = "host/page.html";
    const bool readable = PageReader::ReadPage(bytes, page);

    FleetTally tally;
    tally.Add(page);
    FleetOverview::Render(tally, "fleet.html", "2026-01-01 00:00:00");

    if (readable)
    {
        RedactionKey key;
        PageRedactor redactor(key);
        redactor.Learn(page);
        const std::string redacted = redactor.Redact(bytes);
        // Redaction only replaces values by tokens; a page without sensitive values stays as is.
        if (key.Tokens().empty() && redacted != bytes)
            abort();
    }
    return 0;
}
