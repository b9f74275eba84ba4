// Parse and compact-serialize throughput, and memory kept by the parsed tree, for pocketjson and
// its peers on the same files in one run. Rounds interleave the libraries; medians are reported.
#include "json/pocketjson.h"

#include <json/json.h>
#include <malloc.h>
#include <nlohmann/json.hpp>
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace {

// Keeps results alive so the optimiser cannot drop the work.
volatile std::size_t g_sink = 0;

std::string readFile(std::string const& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        std::fprintf(stderr, "cannot read %s\n", path.c_str());
        std::exit(1);
    }
    std::ostringstream content;
    content << in.rdbuf();
    return content.str();
}

std::size_t heapInUse() { return mallinfo2().uordblks; }

// One library: parse the text into its tree, keep it, and write the kept tree compactly.
struct Library {
    char const* name;
    std::function<void(std::string const&)> parse;
    std::function<std::size_t()> serialize;
    std::function<void()> drop;
};

std::vector<Library> makeLibraries() {
    auto pocket = std::make_shared<pocketjson::Value>();
    auto nlohmannTree = std::make_shared<nlohmann::json>();
    auto jsoncppTree = std::make_shared<Json::Value>();
    auto rapidTree = std::make_shared<std::unique_ptr<rapidjson::Document>>(
        std::make_unique<rapidjson::Document>());
    auto jsoncppReader =
        std::shared_ptr<Json::CharReader>(Json::CharReaderBuilder().newCharReader());
    auto jsoncppWriter = std::make_shared<Json::StreamWriterBuilder>();
    (*jsoncppWriter)["indentation"] = "";

    return {
        {"pocketjson",
         [pocket](std::string const& text) {
             pocketjson::Parser parser;
             *pocket = pocketjson::Value();
             if (!parser.parse(text, *pocket))
                 std::abort();
         },
         [pocket] {
             std::string out;
             pocketjson::Serializer::serialize(out, *pocket);
             return out.size();
         },
         [pocket] { *pocket = pocketjson::Value(); }},
        {"nlohmann",
         [nlohmannTree](std::string const& text) { *nlohmannTree = nlohmann::json::parse(text); },
         [nlohmannTree] { return nlohmannTree->dump().size(); },
         [nlohmannTree] { *nlohmannTree = nlohmann::json(); }},
        {"jsoncpp",
         [jsoncppTree, jsoncppReader](std::string const& text) {
             *jsoncppTree = Json::Value();
             std::string errors;
             if (!jsoncppReader->parse(text.data(), text.data() + text.size(), jsoncppTree.get(),
                                       &errors))
                 std::abort();
         },
         [jsoncppTree, jsoncppWriter] {
             return Json::writeString(*jsoncppWriter, *jsoncppTree).size();
         },
         [jsoncppTree] { *jsoncppTree = Json::Value(); }},
        {"rapidjson",
         [rapidTree](std::string const& text) {
             *rapidTree = std::make_unique<rapidjson::Document>();
             if ((*rapidTree)->Parse(text.c_str(), text.size()).HasParseError())
                 std::abort();
         },
         [rapidTree] {
             rapidjson::StringBuffer buffer;
             rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
             (*rapidTree)->Accept(writer);
             return buffer.GetSize();
         },
         [rapidTree] { *rapidTree = std::make_unique<rapidjson::Document>(); }},
    };
}

// After a tree is dropped, one block too large for malloc's small lists makes glibc merge the
// freed blocks now, outside any timing, instead of inside the next library's first allocation.
void settleAllocator() {
    void* block = std::malloc(64 * 1024);
    g_sink = g_sink + reinterpret_cast<std::uintptr_t>(block);
    std::free(block);
}

// What the value models differ in, counted over one parsed file: pocketjson's strings, objects and
// arrays each sit in a container with a 16-byte header (virtual table pointer and count, padded),
// where nlohmann holds a bare std::string, std::map or std::vector; nlohmann's arrays grow one
// element at a time and keep unused room, where pocketjson's parser sizes each array exactly.
std::size_t pocketContainers(pocketjson::Value const& v) {
    std::size_t n = v.isContainer() ? 1 : 0;
    if (v.type() == pocketjson::Type::Object) {
        for (auto const& member : v.objectItems())
            n += pocketContainers(member.second);
    } else if (v.type() == pocketjson::Type::Array) {
        for (auto const& element : v.arrayItems())
            n += pocketContainers(element);
    }
    return n;
}

std::size_t nlohmannUnusedElements(nlohmann::json const& j) {
    std::size_t n = 0;
    if (j.is_array()) {
        auto const& elements = j.get_ref<nlohmann::json::array_t const&>();
        n += elements.capacity() - elements.size();
        for (auto const& element : elements)
            n += nlohmannUnusedElements(element);
    } else if (j.is_object()) {
        for (auto const& member : j.get_ref<nlohmann::json::object_t const&>())
            n += nlohmannUnusedElements(member.second);
    }
    return n;
}

double secondsOf(std::function<void()> const& f) {
    auto start = std::chrono::steady_clock::now();
    f();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

double median(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    return v[v.size() / 2];
}

} // namespace

int main(int argc, char** argv) {
    std::string dataDir = TOLMA_BENCH_DATA_DIR;
    int rounds = 21;
    for (int i = 1; i < argc; ++i) {
        if (!std::strcmp(argv[i], "--data") && i + 1 < argc)
            dataDir = argv[++i];
        else if (!std::strcmp(argv[i], "--rounds") && i + 1 < argc)
            rounds = std::max(1, std::atoi(argv[++i]));
        else {
            std::fprintf(stderr, "usage: %s [--data DIR] [--rounds N]\n", argv[0]);
            return 2;
        }
    }
    char const* files[] = {"twitter.json", "citm_catalog.json", "canada.json"};
    auto libraries = makeLibraries();

    std::printf("| file | operation | library | MB/s (median of %d) | pocketjson / library |\n",
                rounds);
    std::printf("|---|---|---|---:|---:|\n");
    std::vector<std::string> memoryRows;
    std::vector<std::string> modelRows;
    for (char const* file : files) {
        std::string const text = readFile(dataDir + "/" + file);
        double const megabytes = static_cast<double>(text.size()) / 1e6;
        // Enough repetitions per round for about 50 ms of the fastest library's parsing, and never
        // fewer than ten, so that one slow parse does not decide a round.
        int reps = 10;
        for (Library& lib : libraries) {
            lib.parse(text);
            double const once = secondsOf([&] { lib.parse(text); });
            lib.drop();
            settleAllocator();
            reps = std::max(reps, static_cast<int>(0.05 / std::max(once, 1e-6)));
        }
        // "parse": each parse timed on its own, into an empty tree; the previous tree is dropped
        // and the allocator settled before the clock starts. "parse over the last tree": the
        // parses back to back, each replacing the tree of the one before, so that freeing it (a
        // few blocks for one library, a block per value for another) and glibc's merge of those
        // blocks fall inside the timing, as they do for a program that parses again and again.
        enum class Op { Parse, ParseOver, Serialize };
        struct {
            Op op;
            char const* name;
        } const operations[] = {{Op::Parse, "parse"},
                                {Op::ParseOver, "parse over the last tree"},
                                {Op::Serialize, "serialize"}};
        for (auto const& operation : operations) {
            char const* const op = operation.name;
            std::vector<std::vector<double>> rates(libraries.size());
            for (int round = 0; round < rounds; ++round) {
                for (std::size_t l = 0; l < libraries.size(); ++l) {
                    Library& lib = libraries[l];
                    double s = 0;
                    if (operation.op == Op::Parse) {
                        for (int r = 0; r < reps; ++r) {
                            lib.drop();
                            settleAllocator();
                            s += secondsOf([&] { lib.parse(text); });
                        }
                    } else if (operation.op == Op::ParseOver) {
                        s = secondsOf([&] {
                            for (int r = 0; r < reps; ++r)
                                lib.parse(text);
                        });
                    } else {
                        lib.parse(text);
                        s = secondsOf([&] {
                            for (int r = 0; r < reps; ++r)
                                g_sink = g_sink + lib.serialize();
                        });
                    }
                    rates[l].push_back(megabytes * reps / s);
                    lib.drop();
                    settleAllocator();
                }
            }
            // Ratios are taken within each round, where both ran seconds apart, then the median.
            for (std::size_t l = 0; l < libraries.size(); ++l) {
                double const m = median(rates[l]);
                if (l == 0) {
                    std::printf("| %s | %s | %s | %.0f | |\n", file, op, libraries[l].name, m);
                    continue;
                }
                std::vector<double> ratios;
                for (int round = 0; round < rounds; ++round)
                    ratios.push_back(rates[0][static_cast<std::size_t>(round)] /
                                     rates[l][static_cast<std::size_t>(round)]);
                std::printf("| %s | %s | %s | %.0f | %.2fx |\n", file, op, libraries[l].name, m,
                            median(ratios));
            }
        }
        // Memory kept by the tree after parsing, every heap allocation counted.
        for (auto& lib : libraries) {
            lib.drop();
            settleAllocator();
            malloc_trim(0);
            std::size_t before = heapInUse();
            lib.parse(text);
            std::size_t after = heapInUse();
            char row[200];
            std::snprintf(row, sizeof row, "| %s | %s | %.2f |", file, lib.name,
                          static_cast<double>(after - before) / static_cast<double>(text.size()));
            memoryRows.push_back(row);
            lib.drop();
        }
        {
            pocketjson::Value tree;
            pocketjson::Parser parser;
            if (!parser.parse(text, tree))
                std::abort();
            double const bytes = static_cast<double>(text.size());
            char row[200];
            std::snprintf(row, sizeof row, "| %s | %.2f | %.2f |", file,
                          16.0 * static_cast<double>(pocketContainers(tree)) / bytes,
                          static_cast<double>(sizeof(nlohmann::json) *
                                              nlohmannUnusedElements(nlohmann::json::parse(text))) /
                              bytes);
            modelRows.push_back(row);
        }
    }
    std::printf("\n| file | library | heap bytes kept per input byte |\n|---|---|---:|\n");
    for (auto const& row : memoryRows)
        std::printf("%s\n", row.c_str());
    std::printf("\n| file | pocketjson's container headers, bytes per input byte | nlohmann's unused "
                "array room, bytes per input byte |\n|---|---:|---:|\n");
    for (auto const& row : modelRows)
        std::printf("%s\n", row.c_str());
    return 0;
}
