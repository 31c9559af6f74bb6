#pragma once

#include "HostPage.h"
#include "PageFiles.h"

#include <string>

// The host label of a page's series and its status lines: the page's collection, the folder that
// holds its pages in a reports tree (reports/<host>/<stamp>.html), or, for a page named on the command line
// or lying directly in the folder given (as in the daily service's state folder), the host name the page
// itself names; failing that, the file's name.
namespace MetricsHost
{
std::string Of(const PageFile& file, const HostPage& page);
}
