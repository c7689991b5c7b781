// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/cli/commands.h>

#include <csignal>
#include <cstdio>

#include <apps/common/user_error.h>
#include <apps/common/whole_number.h>
#include <apps/gas/cli/view_request.h>
#include <apps/gas/page/page_text.h>

namespace gas_app {

namespace {

using Json = nlohmann::ordered_json;

/// SIGINT and SIGTERM wait until they are asked for; threads that are started meanwhile leave them
/// alone, too.
class HeldSignals {
  public:
    HeldSignals() {
        ::sigemptyset(&m_signals);
        ::sigaddset(&m_signals, SIGINT);
        ::sigaddset(&m_signals, SIGTERM);
        ::pthread_sigmask(SIG_BLOCK, &m_signals, &m_before);
    }
    HeldSignals(const HeldSignals&) = delete;
    HeldSignals& operator=(const HeldSignals&) = delete;
    ~HeldSignals() { ::pthread_sigmask(SIG_SETMASK, &m_before, nullptr); }

    void wait() const {
        int signal = 0;
        while (::sigwait(&m_signals, &signal) != 0)
            continue;
    }

  private:
    sigset_t m_signals;
    sigset_t m_before;
};

HttpResponse answer_json(const Json& json) {
    HttpResponse response;
    response.content_type = "application/json";
    response.body = json.dump(-1, ' ', false, Json::error_handler_t::replace);
    return response;
}

HttpResponse answer_page(const std::string& title) {
    HttpResponse response;
    response.content_type = "text/html; charset=utf-8";
    response.body = fill_places(view_page.html, {{{"title", escape_html(title)},
                                                  {"style", join(view_page.styles)},
                                                  {"script", join(view_page.scripts)}}});
    response.policy = "default-src 'none'; script-src " + get_policy_source(view_page.script_hash) +
                      "; style-src " + get_policy_source(view_page.style_hash) +
                      "; connect-src 'self'; img-src data:; base-uri 'none'; form-action 'none'; "
                      "frame-ancestors 'none'";
    return response;
}

HttpResponse answer_error(unsigned status, const char* sentence) {
    HttpResponse response;
    response.status = status;
    response.body = std::string(sentence) + "\n";
    return response;
}

HttpResponse answer_picture(ViewSession& session, const ViewRequest& request) {
    HttpResponse response;
    response.content_type = "application/octet-stream";
    response.stream = session.open(request);
    constexpr unsigned unavailable = 503;
    return response.stream ? std::move(response)
                           : answer_error(unavailable, "too many pictures are being drawn");
}

} // namespace

ViewCommand::ViewCommand(CLI::App& app)
    : Command(app, "view", "Show a mesh or the procedural scene in a browser, live",
              "Serves a page on this machine alone, prints its address, and draws what the page "
              "asks for, until it is interrupted (Ctrl-C). Trees are chosen in the page; options "
              "say what it starts with.") {
    m_scene.add_to(*m_command);
    m_command->add_option("--port", m_port, "The port of the page's address; 0: any that is free")
        ->check(whole_number(0, 65535))
        ->capture_default_str();
}

/// What the page has to know of the scene.
Json ViewCommand::describe(const ViewSession& session, const ViewRequest& usual) const {
    const Stage& stage = session.get_stage();
    std::uint64_t items = 0;
    for (const Instance& instance : stage.scene->get_instances())
        items += instance.shape->get_item_count();
    Json words = Json::array({"gas", "render"});
    if (!m_scene.mesh_path.empty())
        words.push_back(m_scene.mesh_path);
    const auto add = [&](const char* option, const std::string& value, bool is_usual) {
        if (!is_usual)
            words.insert(words.end(), {option, value});
    };
    add("--up", m_scene.up_axis, m_scene.up_axis == "y");
    add("--detail", m_scene.detail, m_scene.detail == "1");
    add("--items", std::to_string(m_scene.item_count), m_scene.item_count == 0);
    add("--cells", std::to_string(m_scene.cell_count), m_scene.cell_count == 0);
    if (m_scene.motion)
        words.push_back("--motion");
    const Vec3& target = usual.target;
    return {{"name", m_scene.get_name()},
            {"command", std::move(words)},
            {"instances", stage.scene->get_instances().size()},
            {"placed_items", items},
            {"threads", usual.render.threads},
            {"choices", describe_choices()},
            {"start",
             {{"tree", get_name(usual.trees.kind)},
              {"wide", usual.trees.has_wide_nodes ? "on" : "off"},
              {"build", build_method_names[usual.build_method]},
              {"isa", gas_get_instruction_set_name(usual.instruction_set)},
              {"stream", "on"},
              {"packet", 64},
              {"spp", usual.render.samples},
              {"ao", usual.render.ambient_rays}}},
            {"camera",
             {{"azimuth", usual.view.azimuth},
              {"elevation", usual.view.elevation},
              {"target", {target.x, target.y, target.z}},
              {"distance", usual.distance},
              {"field_of_view", stage.camera.get_field_of_view()},
              {"reach", session.get_reach()}}}};
}

HttpResponse ViewCommand::answer(ViewSession& session, const ViewRequest& usual,
                                 const HttpRequest& request) const {
    const bool is_get = request.method == "GET";
    const bool is_picture = request.path == "/picture";
    if (!is_picture && request.path != "/" && request.path != "/scene") {
        constexpr unsigned not_found = 404;
        return answer_error(not_found, "there is no such page");
    }
    // A picture is work, which a mere link must not start.
    if (is_get == is_picture) {
        constexpr unsigned no_such_method = 405;
        HttpResponse response = answer_error(no_such_method, "no such method");
        response.allow = is_picture ? "POST" : "GET";
        return response;
    }
    if (is_picture) {
        const bool in_motion = session.get_stage().scene->get_sample_count() >= 2;
        return answer_picture(session, parse_view_request(request.arguments, usual, in_motion));
    }
    if (!request.arguments.empty())
        throw UserError("there is no such argument");
    return request.path == "/" ? answer_page("gas view " + m_scene.get_name())
                               : answer_json(describe(session, usual));
}

ViewRequest ViewCommand::get_usual(const Stage& stage) const {
    ViewRequest usual;
    usual.trees = m_scene.get_tree_settings();
    usual.build_method = parse_build_method(m_scene.build_method);
    usual.instruction_set = gas_get_instruction_set();
    usual.render.samples = 12;
    usual.render.threads = m_scene.get_thread_count();
    usual.view = stage.camera.get_view();
    usual.target = stage.camera.get_target();
    usual.distance = stage.camera.get_distance();
    return usual;
}

void ViewCommand::run() const {
    AppBase application(stderr);
    StageSettings settings;
    m_scene.apply(settings, application);
    if (!can_serve())
        throw UserError("this program was built without libmicrohttpd, which serves pages");
    settings.hints_at_up_axis = !m_scene.has_up_axis && !m_scene.quiet;
    ViewSession session(m_scene.make_stage(settings, application), !m_scene.mesh_path.empty());
    const ViewRequest usual = get_usual(session.get_stage());

    const HeldSignals signals;
    const HttpServer server(static_cast<std::uint16_t>(m_port), [&](const HttpRequest& request) {
        return answer(session, usual, request);
    });
    const std::string address = "http://127.0.0.1:" + std::to_string(server.get_port()) + "/";
    if (m_scene.json)
        std::puts(Json({{"address", address}}).dump().c_str());
    else
        std::printf("%s\n", address.c_str());
    if (std::fflush(stdout) != 0)
        throw UserError("standard output cannot be written");
    signals.wait();
    session.stop();
}

} // namespace gas_app
