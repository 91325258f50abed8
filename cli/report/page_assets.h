// page_assets: the files of cli/report/page/, which the build puts into the program.
#ifndef ZANDREL_CLI_REPORT_PAGE_ASSETS_H_
#define ZANDREL_CLI_REPORT_PAGE_ASSETS_H_

#include <string_view>

namespace zandrel::cli {

extern const std::string_view kPageHtml;    // with {{places}} to fill
extern const std::string_view kPageStyle;   // CSS
extern const std::string_view kPageScript;  // all .js files, one after another
// "sha256-..." of style and script, as a Content-Security-Policy names them.
extern const std::string_view kPageStyleHash;
extern const std::string_view kPageScriptHash;

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_REPORT_PAGE_ASSETS_H_
