#include "CollapsibleComposite.h"
#include "HTMLComposite.h"
#include "PanelComponent.h"
#include "TableComponent.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace
{
// A leaf that renders a fixed text and records its destruction.
class Probe : public HTMLComponent
{
public:
    Probe(std::string text, std::vector<std::string>* destroyed = nullptr)
        : m_Text(std::move(text)), m_Destroyed(destroyed)
    {
    }
    ~Probe() override
    {
        if (m_Destroyed != nullptr)
            m_Destroyed->push_back(m_Text);
    }
    std::string Render() override { return m_Text; }

private:
    std::string m_Text;
    std::vector<std::string>* m_Destroyed;
};

// The value of the first class attribute at or after from.
std::string ClassAt(const std::string& html, const std::string& from = "")
{
    size_t start = html.find("class=\"", html.find(from)) + 7;
    return html.substr(start, html.find('"', start) - start);
}
} // namespace

TEST(TableComponentTest, RendersHeadRowsAndNotAvailableForEmptyCellsWithoutEscaping)
{
    TableComponent table;
    table.AddColumn("Fan");
    table.AddColumn("R&D <b>");
    const std::string head =
        "\n      <table class=\"data-table component-table\">\n        <thead>\n          <tr>"
        "\n            <th>Fan</th>\n            <th>R&D <b></th>"
        "\n          </tr>\n        </thead>\n        <tbody>";
    const std::string end = "\n        </tbody>\n      </table>";
    EXPECT_EQ(head + end, table.Render());

    // Cells are not counted against the headings; an empty head text stays empty.
    table.AddRow({StatusNormal, "FAN1 & <2>"}, {"3600 RPM", "", "front"});
    table.AddRow({StatusError, ""}, {""});
    EXPECT_EQ(head +
                  "\n          <tr>\n            <td class=\"status-normal icon status\">FAN1 & <2></td>"
                  "\n            <td>3600 RPM</td>\n            <td>N/A</td>\n            <td>front</td>"
                  "\n          </tr>"
                  "\n          <tr>\n            <td class=\"status-error icon status\"></td>"
                  "\n            <td>N/A</td>\n          </tr>" +
                  end,
              table.Render());
}

TEST(StatusClassTest, RowsAlwaysShowAnIconWhileHeadersShowNoneWithoutAKnownStatus)
{
    struct Case
    {
        ReportStatus Status;
        const char* Row;
        const char* Header;
    };
    const Case cases[] = {
        {0, " status-unknown icon status", "collapsible title-text status-unknown"},
        {1, "status-normal icon status", "collapsible title-text status-normal"},
        {2, "status-warning icon status", "collapsible title-text status-warning"},
        {3, "status-error icon status", "collapsible title-text status-error"},
        {5, "status-not-present icon status", "collapsible title-text"},
        {6, "status-major icon status", "collapsible title-text status-major"},
        {99, "status-not-present icon status", "collapsible title-text"},
    };
    for (const Case& c : cases)
    {
        TableComponent table;
        table.AddRow({c.Status, "x"}, {});
        EXPECT_EQ(c.Row, ClassAt(table.Render(), "<tbody>")) << c.Status;
        CollapsibleComposite section;
        section.SetStatus(c.Status);
        EXPECT_EQ(c.Header, ClassAt(section.Render())) << c.Status;
    }
    EXPECT_EQ("collapsible title-text", ClassAt(CollapsibleComposite().Render()));
}

TEST(PanelComponentTest, RendersLinesInOrderAndDropsEmptyValues)
{
    PanelComponent panel;
    EXPECT_EQ("\n      <div class=\"status-table panel-body\">\n      </div>", panel.Render());
    panel.AddValue("Model", "");
    panel.AddValue("S&N", "<YK42>");
    panel.AddValue("", "untitled");
    panel.AddRow({StatusNormal, "ignored"}, {"by a panel"});
    EXPECT_EQ("\n      <div class=\"status-table panel-body\">"
              "\n        <div class=\"row\">\n          <div class=\"title\">S&N</div>"
              "\n          <div class=\"value\"><YK42></div>\n        </div>"
              "\n        <div class=\"row\">\n          <div class=\"title\"></div>"
              "\n          <div class=\"value\">untitled</div>\n        </div>"
              "\n      </div>",
              panel.Render());
}

TEST(HTMLCompositeTest, ChildrenRenderInOrderAndAreDeletedInOrderByTheirComposite)
{
    std::vector<std::string> destroyed;
    {
        CollapsibleComposite section;
        section.SetTitle("Fans & <Pumps>");
        section.SetStatus(StatusWarning);
        section.Add(new Probe("<one/>", &destroyed));
        section.Add(nullptr);
        auto* inner = new HTMLComposite();
        inner->SetTitle("not rendered");
        inner->Add(new Probe("<two/>", &destroyed));
        section.Add(inner);
        section.Add(new Probe("<three/>", &destroyed));
        EXPECT_EQ("\n    <button type=\"button\" class=\"collapsible title-text status-warning\">Fans & "
                  "<Pumps></button>"
                  "\n    <div class=\"content\"><one/><two/><three/>\n    </div>",
                  section.Render());
        TableComponent table;
        table.Add(new Probe("given to a table", &destroyed));
        EXPECT_EQ((std::vector<std::string>{"given to a table"}), destroyed);
    }
    EXPECT_EQ((std::vector<std::string>{"given to a table", "<one/>", "<two/>", "<three/>"}), destroyed);
}
