#pragma once
// Root acting for one user (`--user NAME`): the user is looked up in the password database, root
// is dropped for good before anything is touched (supplementary groups, group, then user, and
// checked afterwards that it cannot be regained), and the environment becomes that user's own:
// HOME from the password database, OPENCLAW_HOME as given or that user's default, and on Linux
// the user's systemd manager under /run/user/UID. From then on the process is that user.

#include <optional>
#include <string>

namespace pellix {

struct ActAsUserFailure {
    enum class Kind {
        notRoot,      // only root may act for another user
        unknownUser,  // no such user in the password database
        rootUser,     // NAME is root: nothing to drop to
        notDropped,   // the system refused, or root could still be regained
    };
    Kind kind;
    std::string message;  // one sentence, naming the user
};

// Nothing when the process now is `name`; else why not, with root kept only when the drop
// never started (notRoot, unknownUser, rootUser).
std::optional<ActAsUserFailure> actAsUser(const std::string& name);

}  // namespace pellix
