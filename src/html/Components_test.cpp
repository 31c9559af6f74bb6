#include "CollapsibleComposite.h"
#include "HTMLComposite.h"
#include "PanelComponent.h"
#include "TableComponent.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace
{
// A leaf that renders a fixed text and records when it is destroyed.
class ProbeComponent : public HTMLComponent
{
public:
    ProbeComponent(std::string text, std::vector<std::string>* destroyed)
        : m_Text(std::move(text)), m_Destroyed(destroyed)
    {
    }
    ~ProbeComponent() override
    {
        if (m_Destroyed != nullptr)
            m_Destroyed->push_back(m_Text);
    }
    std::string Render() override { return m_Text; }

private:
    std::string m_Text;
    std::vector<std::string>* m_Destroyed;
};

// Top-level sections reach the frame through their own Render.
class TopLevelSection : public HTMLComposite
{
public:
    std::string Render() override { return RenderTopLevelFrame(); }
};

std::string ClassAttribute(const std::string& html)
{
    size_t start = html.find("class=\"");
    if (start == std::string::npos)
        return "<none>";
    start += 7;
    return html.substr(start, html.find('"', start) - start);
}
} // namespace

TEST(TableComponentTest, TableWithoutRowsHasHeadAndEmptyBody)
{
    TableComponent table;
    table.AddColumn("Name");
    table.AddColumn("Speed");
    EXPECT_EQ("\n      <table class=\"data-table component-table\">\n        <thead>\n          <tr>"
              "\n            <th>Name</th>\n            <th>Speed</th>"
              "\n          </tr>\n        </thead>\n        <tbody>"
              "\n        </tbody>\n      </table>",
              table.Render());
}

TEST(TableComponentTest, RowCarriesIconClassTextAndCellsWithNotAvailableForEmptyOnes)
{
    TableComponent table;
    table.AddColumn("Fan");
    table.AddRow({StatusNormal, "FAN1 SYS"}, {"3600 RPM", "", "front"});
    table.AddRow({StatusError, ""}, {""});
    EXPECT_EQ("\n      <table class=\"data-table component-table\">\n        <thead>\n          <tr>"
              "\n            <th>Fan</th>"
              "\n          </tr>\n        </thead>\n        <tbody>"
              "\n          <tr>\n            <td class=\"status-normal icon status\">FAN1 SYS</td>"
              "\n            <td>3600 RPM</td>\n            <td>N/A</td>\n            <td>front</td>"
              "\n          </tr>"
              "\n          <tr>\n            <td class=\"status-error icon status\"></td>"
              "\n            <td>N/A</td>"
              "\n          </tr>"
              "\n        </tbody>\n      </table>",
              table.Render());
    EXPECT_EQ(2u, table.RowCount());
}

TEST(TableComponentTest, RowStatusSelectsClassWithNotPresentAsFallback)
{
    const std::vector<std::pair<ReportStatus, std::string>> expected = {
        {0, " status-unknown icon status"},     {1, "status-normal icon status"},
        {2, "status-warning icon status"},      {3, "status-error icon status"},
        {4, "status-not-present icon status"},  {5, "status-not-present icon status"},
        {6, "status-major icon status"},        {7, "status-not-present icon status"},
        {99, "status-not-present icon status"}, {0xFFFFFFFF, "status-not-present icon status"},
    };
    for (const auto& [status, attribute] : expected)
    {
        TableComponent table;
        table.AddRow({status, "x"}, {});
        std::string html = table.Render();
        std::string row = html.substr(html.find("<tbody>"));
        EXPECT_EQ(attribute, ClassAttribute(row)) << "status " << status;
    }
}

TEST(TableComponentTest, CellCountIsNotCheckedAgainstHeadings)
{
    TableComponent table;
    table.AddColumn("A");
    table.AddColumn("B");
    table.AddColumn("C");
    table.AddRow({StatusNormal, "only"}, {});
    table.AddRow({StatusNormal, "many"}, {"1", "2", "3", "4", "5"});
    std::string html = table.Render();
    EXPECT_NE(std::string::npos, html.find("only</td>\n          </tr>"));
    EXPECT_NE(std::string::npos, html.find("<td>5</td>\n          </tr>"));
}

TEST(CollapsibleCompositeTest, HeaderClassFollowsStatusAndShowsNoIconWithoutKnownStatus)
{
    CollapsibleComposite fresh;
    EXPECT_EQ("collapsible title-text", ClassAttribute(fresh.Render()));
    EXPECT_EQ(StatusNotPresent, fresh.GetStatus());

    const std::vector<std::pair<ReportStatus, std::string>> expected = {
        {0, "collapsible title-text status-unknown"},
        {1, "collapsible title-text status-normal"},
        {2, "collapsible title-text status-warning"},
        {3, "collapsible title-text status-error"},
        {4, "collapsible title-text"},
        {5, "collapsible title-text"},
        {6, "collapsible title-text status-major"},
        {99, "collapsible title-text"},
    };
    for (const auto& [status, attribute] : expected)
    {
        CollapsibleComposite section;
        section.SetStatus(status);
        EXPECT_EQ(attribute, ClassAttribute(section.Render())) << "status " << status;
    }
}

TEST(CollapsibleCompositeTest, RendersButtonThenContentWithChildrenInOrder)
{
    CollapsibleComposite section;
    section.SetTitle("Fans");
    section.SetStatus(StatusWarning);
    section.Add(new ProbeComponent("<first/>", nullptr));
    section.Add(new ProbeComponent("<second/>", nullptr));
    EXPECT_EQ("\n    <button type=\"button\" class=\"collapsible title-text status-warning\">Fans</button>"
              "\n    <div class=\"content\"><first/><second/>\n    </div>",
              section.Render());
    EXPECT_EQ(section.Render(), section.Render());
}

TEST(PanelComponentTest, RendersLinesInOrderAndDropsEmptyValues)
{
    PanelComponent panel;
    panel.AddValue("Model", "");
    panel.AddValue("Serial", "YK42");
    panel.AddValue("", "untitled");
    EXPECT_EQ(2u, panel.LineCount());
    EXPECT_EQ("\n      <div class=\"status-table panel-body\">"
              "\n        <div class=\"row\">\n          <div class=\"title\">Serial</div>"
              "\n          <div class=\"value\">YK42</div>\n        </div>"
              "\n        <div class=\"row\">\n          <div class=\"title\"></div>"
              "\n          <div class=\"value\">untitled</div>\n        </div>"
              "\n      </div>",
              panel.Render());

    PanelComponent empty;
    empty.AddValue("Model", "");
    EXPECT_EQ("\n      <div class=\"status-table panel-body\">\n      </div>", empty.Render());
}

TEST(HTMLCompositeTest, PlainCompositeRendersOnlyItsChildrenAndTopLevelFrameWrapsThem)
{
    HTMLComposite plain;
    plain.SetTitle("ignored in output");
    EXPECT_EQ("", plain.Render());
    plain.Add(new ProbeComponent("a", nullptr));
    plain.Add(nullptr);
    plain.Add(new ProbeComponent("b", nullptr));
    EXPECT_EQ("ab", plain.Render());
    EXPECT_EQ("ignored in output", plain.GetTitle());

    TopLevelSection section;
    section.SetTitle("System Health");
    section.Add(new ProbeComponent("<child/>", nullptr));
    EXPECT_EQ("\n  <button type=\"button\" class=\"title-text title-line\">System Health</button>"
              "\n  <div class=\"content-main\"><child/>\n  </div>",
              section.Render());
}

TEST(HTMLCompositeTest, CompositeDeletesChildrenInOrderAndLeavesDeleteWhatTheyAreGiven)
{
    std::vector<std::string> destroyed;
    {
        auto section = std::make_unique<CollapsibleComposite>();
        section->Add(new ProbeComponent("one", &destroyed));
        auto inner = new HTMLComposite();
        inner->Add(new ProbeComponent("two", &destroyed));
        section->Add(inner);
        section->Add(new ProbeComponent("three", &destroyed));
        EXPECT_TRUE(destroyed.empty());
    }
    EXPECT_EQ((std::vector<std::string>{"one", "two", "three"}), destroyed);

    destroyed.clear();
    {
        TableComponent table;
        table.Add(new ProbeComponent("handed to a leaf", &destroyed));
        EXPECT_EQ(std::string::npos, table.Render().find("handed to a leaf"));
    }
    EXPECT_EQ((std::vector<std::string>{"handed to a leaf"}), destroyed);
}

TEST(HTMLComponentTest, CallsThatDoNotSuitAComponentAreIgnored)
{
    TableComponent table;
    table.AddColumn("H");
    std::string tableBefore = table.Render();
    table.AddValue("Model", "X");
    table.SetTitle("title");
    table.SetStatus(StatusError);
    EXPECT_EQ(tableBefore, table.Render());

    PanelComponent panel;
    panel.AddValue("Model", "X");
    std::string panelBefore = panel.Render();
    panel.AddColumn("H");
    panel.AddRow({StatusNormal, "row"}, {"cell"});
    panel.SetTitle("title");
    EXPECT_EQ(panelBefore, panel.Render());

    HTMLComposite composite;
    HTMLComponent& asComponent = composite;
    asComponent.SetStatus(StatusError);
    asComponent.AddValue("Model", "X");
    asComponent.AddColumn("H");
    EXPECT_EQ("", composite.Render());
}

TEST(HTMLComponentTest, TextIsInsertedWithoutEscaping)
{
    const std::string raw = "R&D <b>\"x\"</b> 'y'";
    CollapsibleComposite section;
    section.SetTitle(raw);
    auto* panel = new PanelComponent();
    panel->AddValue(raw, raw);
    section.Add(panel);
    auto* table = new TableComponent();
    table->AddColumn(raw);
    table->AddRow({StatusNormal, raw}, {raw});
    section.Add(table);

    std::string html = section.Render();
    size_t count = 0;
    for (size_t at = html.find(raw); at != std::string::npos; at = html.find(raw, at + 1))
        ++count;
    EXPECT_EQ(6u, count);
    EXPECT_EQ(std::string::npos, html.find("&amp;"));
    EXPECT_EQ(std::string::npos, html.find("&lt;"));
}
