#include <QvPlatform/core/QvVersion.h>
#include <QvPlatform/diagnostics/LogFile.h>
#include <QvPlatform/system/CPU.h>

#include "commands/BuildInformation.h"
#include "commands/Documents.h"
#include "commands/Warnings.h"

namespace qvp {
namespace {

namespace CPU = QvPlatform::CPU;

struct Feature {
    const char* name;
    bool (*isSupported)();
};

const Feature kFeatures[] = {{"SSE", CPU::is_sse_supported},
                             {"SSE2", CPU::is_sse2_supported},
                             {"SSE3", CPU::is_sse3_supported},
                             {"SSE4.1", CPU::is_sse41_supported},
                             {"SSE4.2", CPU::is_sse42_supported},
                             {"SSE4a", CPU::is_sse4a_supported},
                             {"AES", CPU::is_aes_supported},
                             {"SHA", CPU::is_sha_supported},
                             {"AVX", CPU::is_avx_supported},
                             {"XOP", CPU::is_xop_supported},
                             {"FMA3", CPU::is_fma3_supported},
                             {"FMA4", CPU::is_fma4_supported},
                             {"AVX2", CPU::is_avx2_supported},
                             {"AVX-512F", CPU::is_avx512f_supported},
                             {"AVX-512CD", CPU::is_avx512cd_supported},
                             {"AVX-512PF", CPU::is_avx512pf_supported},
                             {"AVX-512ER", CPU::is_avx512er_supported},
                             {"AVX-512VL", CPU::is_avx512vl_supported},
                             {"AVX-512BW", CPU::is_avx512bw_supported},
                             {"AVX-512DQ", CPU::is_avx512dq_supported},
                             {"AVX-512IFMA", CPU::is_avx512ifma_supported},
                             {"AVX-512VBMI", CPU::is_avx512vbmi_supported}};

Document processorDocument() {
    Document features = Document::object();
    for (const Feature& feature : kFeatures) features[feature.name] = feature.isSupported();
    return {{"cores", CPU::getCoreCount()}, {"features", std::move(features)}};
}

void printDirectories(const Document& directories, Page& page) {
    page.heading("Search directories, in order");
    Table table;
    table.titles = {"from", "directory", "plugins"};
    for (const Document& directory : directories) {
        const std::string problem = textOf(directory, "problem");
        table.rows.push_back({{{textOf(directory, "origin"), Style::faint},
                               {textOf(directory, "path")},
                               {problem.empty() ? directory["plugins"].dump() : problem,
                                problem.empty() ? Style::plain : Style::doubtful}},
                              {}});
    }
    page.table(table);
}

class EnvCommand : public Command {
public:
    const char* name() const override { return "env"; }
    const char* summary() const override {
        return "Shows search directories, product, processor and log file";
    }

    Document run(const Setting& setting) override {
        Document build = Document::object();
        for (const Document& row : compareBuildInformation("", productBuildInformation()))
            build[textOf(row, "key")] = row["product"];
        return {{"ok", unusableDirectories(setting).empty()},
                {"directories", directoriesDocument(setting.directories)},
                {"warnings", warningsDocument(setting.directories, {})},
                {"product", {{"version", Qv::QvGetVersion()}, {"buildInformation", std::move(build)}}},
                {"processor", processorDocument()},
                {"logFile", Qv::getLogFile().empty() ? Document() : Document(Qv::getLogFile())}};
    }

    void print(const Document& document, Page& page) const override {
        printDirectories(document["directories"], page);
        printWarnings(document["warnings"], page);
        page.heading("Product");
        Table product;
        product.rows.push_back({{{"version", Style::faint}, {textOf(document["product"], "version")}}, {}});
        for (const auto& [key, value] : document["product"]["buildInformation"].items())
            product.rows.push_back({{{key, Style::faint}, {value.get<std::string>()}}, {}});
        product.rows.push_back({{{"log file", Style::faint},
                                 {document["logFile"].is_null() ? "none" : textOf(document, "logFile")}},
                                {}});
        page.table(product);

        std::string present;
        std::string absent;
        for (const auto& [name, isSupported] : document["processor"]["features"].items()) {
            std::string& list = isSupported.get<bool>() ? present : absent;
            list += (list.empty() ? "" : " ") + name;
        }
        page.heading("Processor");
        Table processor;
        processor.rows.push_back({{{"cores", Style::faint}, {document["processor"]["cores"].dump()}}, {}});
        processor.rows.push_back({{{"has", Style::faint}, {present, Style::good}}, {}});
        processor.rows.push_back({{{"lacks", Style::faint}, {absent, Style::faint}}, {}});
        page.table(processor);
    }
};

}  // namespace

std::unique_ptr<Command> makeEnvCommand() { return std::make_unique<EnvCommand>(); }

}  // namespace qvp
