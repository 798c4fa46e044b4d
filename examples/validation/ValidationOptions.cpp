#include "ValidationOptions.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>

namespace kelvar::validation {

namespace {

// The finest a run may be asked for: a 160-cell cube falls in a tank of 18
// million cells.
constexpr unsigned int kMaxCells = 160;
constexpr unsigned int kMaxThreads = 256;

bool parseDouble(const std::string& text, double low, double high, double& value) {
    if (text.empty()) return false;
    char* end = nullptr;
    errno = 0;
    const double parsed = std::strtod(text.c_str(), &end);
    if (errno != 0 || end != text.c_str() + text.size() || !std::isfinite(parsed)) return false;
    if (parsed < low || parsed > high) return false;
    value = parsed;
    return true;
}

bool parseUnsigned(const std::string& text, unsigned int low, unsigned int high, unsigned int& value) {
    if (text.empty() || text[0] == '-' || text[0] == '+') return false;
    char* end = nullptr;
    errno = 0;
    const unsigned long parsed = std::strtoul(text.c_str(), &end, 10);
    if (errno != 0 || end != text.c_str() + text.size() || parsed < low || parsed > high) return false;
    value = unsigned(parsed);
    return true;
}

bool parseCellList(const std::string& text, std::vector<unsigned int>& cells) {
    cells.clear();
    std::size_t start = 0;
    while (start <= text.size()) {
        const std::size_t comma = text.find(',', start);
        const std::string item = text.substr(start, comma == std::string::npos ? std::string::npos : comma - start);
        unsigned int value = 0;
        if (!parseUnsigned(item, 4, kMaxCells, value)) return false;
        cells.push_back(value);
        if (comma == std::string::npos) break;
        start = comma + 1;
    }
    return !cells.empty();
}

}  // namespace

bool parseValidationOptions(const std::vector<std::string>& arguments, ValidationOptions& options, std::string& error) {
    std::size_t n = 0;
    if (n < arguments.size() && arguments[n].rfind("--", 0) != 0) {
        const std::string& name = arguments[n++];
        if (name == "dam-break")
            options.command = Command::DamBreak;
        else if (name == "hydrostatic")
            options.command = Command::Hydrostatic;
        else if (name == "free-fall")
            options.command = Command::FreeFall;
        else if (name == "sweep")
            options.command = Command::Sweep;
        else if (name == "all")
            options.command = Command::All;
        else {
            error = "unknown command '" + name + "'";
            return false;
        }
    }
    for (; n < arguments.size(); ++n) {
        const std::string& option = arguments[n];
        if (option == "--help") {
            options.help = true;
            continue;
        }
        if (option == "--quick") {
            options.quick = true;
            continue;
        }
        if (option == "--plain-mass") {
            options.water.conserveMass = false;
            continue;
        }
        if (n + 1 >= arguments.size()) {
            error = "option " + option + " needs a value";
            return false;
        }
        const std::string& value = arguments[++n];
        double number = 0.0;
        bool ok = true;
        if (option == "--cells") {
            ok = parseCellList(value, options.cells);
        } else if (option == "--compressibility") {
            ok = parseDouble(value, 0.0, 1.0, number);
            options.water.compressibility = float(number);
        } else if (option == "--speed-ratio") {
            ok = parseDouble(value, 0.1, 10.0, options.water.speedRatio);
        } else if (option == "--viscosity") {
            ok = parseDouble(value, 0.0, 1.0, number);
            options.water.viscosity = float(number);
        } else if (option == "--threads") {
            ok = parseUnsigned(value, 1, kMaxThreads, options.water.threads);
        } else if (option == "--across") {
            ok = parseUnsigned(value, 1, kMaxCells, options.across);
        } else if (option == "--front-fill") {
            ok = parseDouble(value, 0.01, 1.0, options.frontFill);
        } else if (option == "--until") {
            ok = parseDouble(value, 0.1, 20.0, options.untilT);
        } else if (option == "--settle") {
            ok = parseDouble(value, 1.0, 1000.0, options.settleT);
        } else if (option == "--output") {
            ok = !value.empty();
            options.output = value;
        } else {
            error = "unknown option " + option;
            return false;
        }
        if (!ok) {
            error = "bad value '" + value + "' for " + option;
            return false;
        }
    }
    return true;
}

std::string validationUsage(const char* program) {
    std::string text = "Usage: ";
    text += program;
    text += R"( [dam-break|hydrostatic|free-fall|sweep|all] [options]

Validation runs against experiment and theory:
  dam-break    Martin & Moyce (1952) square column: surge front Z = x/a
               against T = t sqrt(g/a), CSV per resolution and a plot
  hydrostatic  still water settles: density slope with depth against
               g / c_s^2, largest speed, stability of the top layer
  free-fall    a liquid cube falls: fitted acceleration of its centre of mass
  sweep        compressibility 0.05 to 1: still-water compression, dam-break
               front error and sub-steps, as a Markdown table
  all          dam-break, hydrostatic and free-fall (default)

Options:
  --cells N[,N...]       resolution: cells per column width (dam break, sweep),
                         water depth (hydrostatic), cube side (free fall)
  --compressibility C    0..1 (default 0.2, the demo's)
  --viscosity V          0..1 thickness (default 0.05, the demo's)
  --threads N            worker threads (default 2)
  --until T              dam break: run up to this T (default 3.5)
  --across N             dam break: cells across the tank (default 4)
  --front-fill F         dam break: fill a floor cell needs to count as the
                         front (default 0.5)
  --settle T             still water: settling time in sqrt(H/g) (default 30)
  --output DIR           CSV and PNG folder (default kv_fluids_validation-output)
  --speed-ratio R        expected speed over sqrt(2 g h), h the column or depth;
                         it sets the sub-step and the speed limit (default
                         1.2, the demo's)
  --plain-mass           the specified density bookkeeping instead of keeping
                         the liquid's mass (MAC_LBM_Fluid3::setConserveMass)
  --quick                low resolution; exit 1 when a result leaves its band
  --help                 this text

Exit codes: 0 done (and in band), 1 out of band or a file not written,
2 bad options.
)";
    return text;
}

}  // namespace kelvar::validation
