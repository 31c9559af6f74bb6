#pragma once

#include "HostPage.h"
#include "MetricsWriter.h"

// One kind of series of the metrics file. A source declares its families on the writer when it
// is made; for each page the summary begins the page's collection on the writer and then asks
// every source in turn, so all series of one page share the collection (the host label) and a
// newer page of the same host replaces them all.
class MetricsSource
{
public:
    virtual ~MetricsSource() = default;
    // Adds the series of one page to the collection the writer has just begun for it.
    virtual void AddPage(const HostPage& page) = 0;
};
