#include "HTMLComponent.h"

// Every component accepts every call; the ones that do not suit a component do nothing, so a
// section can fill any child without knowing its concrete type.

void HTMLComponent::Add(HTMLComponent* child)
{
    // A leaf cannot hold children; it still takes ownership so that nothing leaks.
    delete child;
}

void HTMLComponent::AddValue(const std::string&, const std::string&) {}

void HTMLComponent::SetTitle(const std::string&) {}

void HTMLComponent::AddColumn(const std::string&) {}

void HTMLComponent::AddRow(const RowHead&, const std::vector<std::string>&) {}

void HTMLComponent::SetStatus(ReportStatus) {}
