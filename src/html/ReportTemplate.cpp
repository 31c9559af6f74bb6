#include "ReportTemplate.h"

#include "StatusIcons.h"

#include <ctime>

namespace
{
// The style sheet goes into the page as one line, rule after rule. The status icon rules sit
// between the layout rules and the final ".icon" rule, which must come last so that it can move
// every table icon in from the cell's edge.
const char* const kLayoutRules[] = {
    ".collapsible{padding:18px;width:100%;border:none;text-align:left;outline:0}",
    ".collapsible:after{content:\"\\02C3\";color:#000;font-weight:700;float:left;margin-left:5px;"
    "padding-right:5px;font-size:20px}",
    ".active:after{content:\"\\02C5\"}",
    ".content-main{padding:0 18px;transition:max-height .2s ease-out}",
    ".content{padding:0 18px;max-height:0;overflow:hidden;transition:max-height .2s ease-out}",
    ".title-app{padding-bottom:15px;border-bottom:1px solid #b7b7b7;display:flex;padding-bottom:0}",
    ".title-app>h2{font-size:22px;font-weight:700;font-family:\"Segoe UI\",sans-serif}",
    ".title-app>h3{font-size:16px;font-weight:600;font-family:\"Segoe UI\",sans-serif;margin-left:10px;"
    "padding-top:8px}",
    ".title-text{font-size:14px;font-weight:700;font-family:\"Segoe UI\",sans-serif;line-height:15px;"
    "border-bottom:1px solid #b7b7b7;background-color:#fff}",
    ".title-line{width:100%;border:none;text-align:left;outline:0;font-size:15px;font:bold 18px \"Segoe "
    "UI\",sans-serif;margin:0;padding:15px 20px;border-bottom:1px solid #b7b7b7}",
    ".status-table{display:table-cell;padding-top:15px;padding-bottom:1px}",
    ".status-table .title{font-weight:700;margin-left:0;padding-left:0}",
    ".status-table .value{padding-left:12px}",
    ".status-table .row>div{display:table-cell;padding-top:1px;padding-bottom:1px}",
    ".panel-body{color:#232323;font-size:14px;font-weight:400;font-family:\"Segoe UI\",sans-serif;"
    "border-width:0;border-style:solid;padding-bottom:20px;padding-left:20px}",
    ".status-table .row{display:table-row}",
    ".data-table thead{background-color:#d1d1d1;width:100%;padding-left:15px;margin-top:10px}",
    "table{border-collapse:separate;text-indent:initial;border-spacing:2px}",
    ".data-table{width:100%;margin-bottom:20px;margin-top:10px;border-collapse:collapse;border-spacing:0}",
    ".data-table *{table-layout:fixed}",
    ".data-table th{background-color:#eee;text-align:left;padding:10px;border-right:1px solid #d5d5d5}",
    ".data-table td{text-align:left;white-space:nowrap;padding:3px 10px 4px 10px;border-bottom:1px solid "
    "#eee;border-right:1px solid #d5d5d5;font:normal 13px/15px \"Segoe UI\",sans-serif}",
    "th{display:table-cell;vertical-align:inherit;font-weight:700;text-align:-internal-center;font:bold "
    "14px \"Segoe UI\",sans-serif}",
    "tr{display:table-row;vertical-align:inherit;border-color:inherit}",
    ".data-table td.icon{padding-left:30px}",
    ".data-table td:last-child,.data-table th:last-child{border-right:0}",
};

const char kIconRule[] = ".icon{width:22px;min-height:16px;background-position:left 10px center}";

std::string BuildHead()
{
    std::string head = "<!DOCTYPE html>\n<html>\n\n<head>\n  <meta name=\"viewport\" "
                       "content=\"width=device-width, initial-scale=1\">\n  <style>\n    ";
    for (const char* rule : kLayoutRules)
        head += rule;
    for (const StatusIcon& icon : StatusIcons)
    {
        head += '.';
        head += icon.CssClass;
        head += "{background-image:url(data:";
        head += icon.MimeType;
        head += ";base64,";
        head += icon.Base64;
        head += ");background-repeat:no-repeat;background-position:left center;margin-left:15px}";
    }
    head += kIconRule;
    head += "\n  </style>\n</head>\n\n<body>\n  <div class=\"title-app\">\n    <h2>";
    return head;
}

// Opens the "content" block below a clicked section button (or closes it again) and lets every
// enclosing open section grow by the height it gained.
const char kScript[] =
    "var collapsibleElements=document.getElementsByClassName(\"collapsible\"),i;for(i=0;i<"
    "collapsibleElements.length;i++)collapsibleElements[i].addEventListener(\"click\",(function(){var "
    "content=this.nextElementSibling;this.classList.toggle(\"active\"),content.style.maxHeight?(console."
    "log(content.style.maxHeight),content.style.maxHeight=null):content.style.maxHeight=content."
    "scrollHeight+\"px\";for(var parent=content;parent=parent.parentElement;)if(parent.classList."
    "contains(\"content\")){var newHeight=parseInt(parent.style.maxHeight.replace(\"px\",\"\"))+content."
    "scrollHeight;parent.style.maxHeight=newHeight+\"px\"}}));";
} // namespace

namespace ReportTemplate
{
const char* const AfterTitle = "</h2>\n    <h3>";
const char* const AfterDate = "</h3>\n  </div>";

const std::string& Head()
{
    static const std::string head = BuildHead();
    return head;
}

const std::string& Tail()
{
    static const std::string tail =
        std::string("\n  <script>\n    ") + kScript + "\n  </script>\n</body>\n\n</html>";
    return tail;
}

std::string FormatReportDate()
{
    return FormatReportDate(time(nullptr));
}

std::string FormatReportDate(time_t when)
{
    struct tm local = {};
    if (localtime_r(&when, &local) == nullptr)
        return std::string();
    char buffer[100];
    size_t length = strftime(buffer, sizeof(buffer), "%Y-%m-%d %H:%M:%S", &local);
    return std::string(buffer, length);
}
} // namespace ReportTemplate
