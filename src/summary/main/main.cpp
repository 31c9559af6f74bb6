#include "SummaryApp.h"

#include <libxml/parser.h>

int main(int argc, char** argv)
{
    xmlInitParser();
    SummaryApp app;
    int status = app.Run(std::vector<std::string>(argv + 1, argv + argc));
    xmlCleanupParser();
    return status;
}
