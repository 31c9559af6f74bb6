#pragma once

// Configuration state of the trace facility: what the ini files and the environment set.
class CDebugTraceConfig
{
protected:
    unsigned m_CurrentLevel = 0;
    unsigned m_SavedLevel = 0;
    bool m_TraceEnabled = false;
};
