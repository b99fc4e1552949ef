// The section "serial".
#ifndef TESSERA_REFERENCE_CONFIG_KEYS_SERIAL_H
#define TESSERA_REFERENCE_CONFIG_KEYS_SERIAL_H

#include "config/keys/declare.h"
#include "config/keys/shared.h"

namespace keys {

constexpr Key connect_script[] = {
    boolean("enable", "Run it: UCI option connect_enable."),
    secret(lines("script", "Dialogue with the modem: UCI option connect_script.")),
};
constexpr Key ppp_dialin[] = {
    string("local_address", "Own address of the PPP link: UCI option local_ip."),
    string("remote_address", "Address of the other end: UCI option remote_ip."),
    string("auth", "How the other end logs in: UCI option auth."),
    string("username", "Name to log in with: UCI option username."),
    secret(string("password", "Password: UCI option password.")),
    integer("metric", "Metric of its routes, lower is preferred: UCI option metric."),
    boolean("default_route", "Use the link as default route: UCI option default_route."),
    object("custom", about_custom, custom),
    object("connect", "What happens before PPP starts.", connect_script),
};
constexpr Key serial[] = {
    boolean("enable", "Use the port."),
    term("mode", "ppp_dialin", "Use of the port; only ppp_dialin gives a section."),
    string("baudrate", "Speed: UCI option baudrate."),
    string("flow", "Flow control: UCI option flow."),
    duration("idle_timeout", "Time without traffic that ends a call: UCI option idle_timeout."),
    object("ppp_dialin", "PPP for callers.", ppp_dialin),
};

}  // namespace keys

#endif
