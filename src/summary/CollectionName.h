#pragma once

#include "HostPage.h"
#include "PageFiles.h"

#include <string>

// The name a host goes by in the metrics and the status line: the folder that holds its pages in
// a reports tree (reports/<host>/<stamp>.html), or, for a page named on the command line or lying
// directly in the folder given, the host name the page itself names; failing that, the file's
// name.
namespace CollectionName
{
std::string Of(const PageFile& file, const HostPage& page);
}
