#include "RowLimit.h"

#include "CDebug.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <vector>

uint32_t RowLimit::Take(const char* countName, uint32_t reported)
{
    const uint32_t granted = std::min(reported, Room());
    m_Rows += granted;
    if (granted < reported)
    {
        m_LeftOut += reported - granted;
        g_Debug.Print(1, "\nRowLimit            : %s: count of %s is %u - %u rows read, %u left out",
                      m_TableName, countName, reported, granted, reported - granted);
    }
    return granted;
}

uint32_t RowLimit::Visit(const char* countName, uint32_t reported)
{
    const uint32_t visited = std::min(reported, kMaxRows);
    if (visited < reported)
    {
        m_NotVisited += reported - visited;
        m_NotVisitedName = countName;
        g_Debug.Print(1, "\nRowLimit            : %s: count of %s is %u - %u visited, %u left out",
                      m_TableName, countName, reported, visited, reported - visited);
    }
    return visited;
}

void RowLimit::AddLeftOutRow(TableComponent& table, size_t cellCount) const
{
    if (m_LeftOut == 0 && m_NotVisited == 0)
        return;
    char text[160];
    if (m_NotVisited == 0)
        snprintf(text, sizeof text, "%" PRIu64 " more left out", m_LeftOut);
    else
        snprintf(text, sizeof text, "%" PRIu64 " more left out, and those of %" PRIu64 " more %s", m_LeftOut,
                 m_NotVisited, m_NotVisitedName);
    RowHead head;
    head.Status = StatusUnknown;
    head.Text = text;
    table.AddRow(head, std::vector<std::string>(cellCount));
}
