#pragma once

#include "main/InstanceChannel.h"

#include <memory>

// The commands the running instance carries out for another `pictavia` process: captures
// and history changes go through the app's own pipeline and index, so they are indexed,
// recognised and shown at once, and the index has one writer.
namespace HostedCommands {

// Whether `pictavia COMMAND ...` is handed to a running instance.
bool isHosted(const QStringList& arguments);

// Runs the command, relaying its output and exit code through `reply`.
void run(const InstanceChannel::Request& request, std::shared_ptr<InstanceChannel::Reply> reply);

} // namespace HostedCommands
