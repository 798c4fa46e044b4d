#include "DemoOptions.h"

#include <charconv>
#include <cstdint>

namespace kelvar::demo {

namespace {

// Upper bounds that keep a run within memory and the thread loop sane.
constexpr uint64_t kMaxResolution = 1u << 27;
constexpr uint64_t kMaxFrames = 1000000;
constexpr uint64_t kMaxThreads = 256;

// A whole decimal number in [minimum, maximum], digits only.
bool parseCount(const std::string& text, uint64_t minimum, uint64_t maximum, unsigned int& value) {
    uint64_t parsed = 0;
    const char* end = text.data() + text.size();
    const auto [stop, failure] = std::from_chars(text.data(), end, parsed);
    if (text.empty() || failure != std::errc() || stop != end || parsed < minimum || parsed > maximum) return false;
    value = static_cast<unsigned int>(parsed);
    return true;
}

bool parseScene(const std::string& text, SceneKind& scene) {
    if (text == "dam-break") {
        scene = SceneKind::DamBreak;
        return true;
    }
    if (text == "pour") {
        scene = SceneKind::Pour;
        return true;
    }
    if (text == "obstacle") {
        scene = SceneKind::Obstacle;
        return true;
    }
    if (text == "paddle") {
        scene = SceneKind::Paddle;
        return true;
    }
    return false;
}

constexpr const char* kValueOptions[] = {"--resolution", "--frames",           "--threads", "--output", "--scene",
                                         "--emitter",    "--sink", "--checkpoint-every", "--resume",  "--proxy",
                                         "--obstacle"};
constexpr uint64_t kMaxProxyQuality = 4;

bool takesValue(const std::string& name) {
    for (const char* option : kValueOptions)
        if (name == option) return true;
    return false;
}

// Applies one option with its value; false with a message when the value is bad.
bool applyOption(const std::string& name, const std::string& value, DemoOptions& options, std::string& error) {
    bool valid = true;
    std::string expected;
    if (name == "--resolution") {
        valid = parseCount(value, 8, kMaxResolution, options.resolution);
        expected = "a cell count from 8 to " + std::to_string(kMaxResolution);
    } else if (name == "--frames") {
        valid = parseCount(value, 1, kMaxFrames, options.frames);
        expected = "a frame count from 1 to " + std::to_string(kMaxFrames);
    } else if (name == "--threads") {
        valid = parseCount(value, 1, kMaxThreads, options.threads);
        expected = "a thread count from 1 to " + std::to_string(kMaxThreads);
    } else if (name == "--scene") {
        valid = parseScene(value, options.scene);
        expected = "dam-break, pour, obstacle or paddle";
    } else if (name == "--output") {
        valid = !value.empty();
        options.output = value;
        expected = "a folder name";
    } else if (name == "--emitter") {
        valid = !value.empty();
        options.emitterPath = value;
        expected = "a mesh file (.obj, .ply or .stl)";
    } else if (name == "--sink") {
        valid = !value.empty();
        options.sinkPath = value;
        expected = "a mesh file (.obj, .ply or .stl)";
    } else if (name == "--obstacle") {
        valid = !value.empty();
        options.obstaclePaths.push_back(value);
        expected = "a mesh file (.obj, .ply or .stl)";
    } else if (name == "--checkpoint-every") {
        valid = parseCount(value, 1, kMaxFrames, options.checkpointEvery);
        expected = "a frame count from 1 to " + std::to_string(kMaxFrames);
    } else if (name == "--resume") {
        valid = !value.empty();
        options.resumePath = value;
        expected = "a checkpoint file";
    } else if (name == "--proxy") {
        unsigned int quality = 0;
        valid = parseCount(value, 0, kMaxProxyQuality, quality);
        options.proxyQuality = int(quality);
        expected = "a quality from 0 (every 10th surface particle) to 4 (all particles)";
    } else {
        error = "unknown option '" + name + "'";
        return false;
    }
    if (!valid) error = "invalid value '" + value + "' for " + name + ": expected " + expected;
    return valid;
}

}  // namespace

bool parseDemoOptions(const std::vector<std::string>& arguments, DemoOptions& options, std::string& error) {
    for (std::size_t n = 0; n < arguments.size(); ++n) {
        const std::string& argument = arguments[n];
        if (argument == "--help" || argument == "-h") {
            options.help = true;
            continue;
        }
        if (argument == "--vtk" || argument == "--vdb") {
            (argument == "--vtk" ? options.vtk : options.vdb) = true;
            continue;
        }
        if (argument.rfind("--", 0) != 0) {
            error = "unexpected argument '" + argument + "'";
            return false;
        }
        // --name=value or --name value
        const std::size_t equals = argument.find('=');
        if (equals != std::string::npos) {
            const std::string name = argument.substr(0, equals);
            if (name == "--vtk" || name == "--vdb") {
                error = "option " + name + " takes no value";
                return false;
            }
            if (!applyOption(argument.substr(0, equals), argument.substr(equals + 1), options, error)) return false;
            continue;
        }
        if (!takesValue(argument)) {
            error = "unknown option '" + argument + "'";
            return false;
        }
        if (n + 1 == arguments.size()) {
            error = "option " + argument + " needs a value";
            return false;
        }
        if (!applyOption(argument, arguments[++n], options, error)) return false;
    }
    return true;
}

std::string demoUsage(const std::string& program) {
    const DemoOptions defaults;
    return "Usage: " + program + " [options]\n"
           "\n"
           "Runs a free-surface liquid simulation and writes, per frame, the liquid's\n"
           "surface as a PLY mesh and a PNG preview into the output folder. Without\n"
           "options it runs a dam break: a column of water collapsing in a walled tank.\n"
           "\n"
           "Options:\n"
           "  --resolution N   requested total number of grid cells (default " +
           std::to_string(defaults.resolution) + ")\n"
           "  --frames N       frames to simulate, 1/" + std::to_string(kFramesPerSecond) + " s each (default " +
           std::to_string(defaults.frames) + ")\n"
           "  --threads N      worker threads (default: one per hardware thread)\n"
           "  --output DIR     output folder, created if missing (default " + defaults.output + ")\n"
           "  --scene NAME     dam-break (default); pour: an emitter fills a tank that\n"
           "                   drains through a sink in its floor; obstacle: the dam\n"
           "                   break hits a box on the floor; paddle: a paddle sweeps\n"
           "                   through still water\n"
           "  --emitter FILE   liquid source mesh (.obj, .ply or .stl, world units, the\n"
           "                   tank spans x -1..1, y -0.5..0.5, z -0.5..0.5); replaces\n"
           "                   the dam-break column or the pour's emitter\n"
           "  --sink FILE      drain mesh in the same units; replaces the pour's drain\n"
           "                   or adds one to the dam break\n"
           "  --obstacle FILE  a static obstacle mesh in the same units (repeatable);\n"
           "                   the force on each obstacle is printed per frame\n"
           "  --checkpoint-every N  write checkpoint_NNNN.kvc, the whole state, every N\n"
           "                   frames\n"
           "  --resume FILE    continue from a checkpoint_NNNN.kvc of the same scene and\n"
           "                   resolution, after its frame NNNN\n"
           "  --proxy Q        write proxy_NNNN.kvp, the particles, every frame: Q = 0..3\n"
           "                   every 10th, 3rd, 2nd or every particle of the surface, 4 all\n"
           "  --vtk            also write frame_NNNN.vti: VTK image data with the fill\n"
           "                   fraction and velocity of every cell\n"
           "  --vdb            also write frame_NNNN.vdb: OpenVDB grids \"density\" (fill\n"
           "                   fraction), \"surface\" (level set) and \"vel\" (velocity)\n"
           "  -h, --help       print this help and exit\n"
           "\n"
           "Exit codes: 0 done; 1 a frame could not be written; 2 a bad option, an\n"
           "output folder that cannot be created, an unreadable mesh or checkpoint,\n"
           "or a resolution too large for the memory.\n";
}

}  // namespace kelvar::demo
