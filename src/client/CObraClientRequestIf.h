#pragma once

#include <cstdint>
#include <string>

class CObraRequest;

// The request side of an OBRA client: attach, exchange documents, identify the interface.
class CObraClientRequestIf
{
public:
    virtual ~CObraClientRequestIf() = default;

    virtual bool Attach(const char* serverName) = 0;
    virtual void Detach() = 0;
    // Exchanges the document and returns the status of the command at its slot.
    virtual uint32_t Request(CObraRequest& request, uint32_t timeout) = 0;
    virtual bool RequestCabinetNumber(uint32_t& cabinetNumber) = 0;
    virtual bool SetApplicationName(const char* name) = 0;
    virtual void Reserved7() {}
    virtual bool IsInterfaceSupported(const char* name) = 0;
    virtual bool GetInterfaceName(std::string& name) = 0;
    virtual uint32_t GetLastErrorCode() = 0;
    virtual void GetLastErrorText(std::string& text) = 0;
};
