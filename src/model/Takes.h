#pragma once

#include <QUrl>

namespace vorn {

// Where take files go: "Vorn" inside the user's Movies (Videos) folder.
namespace Takes {

// Creates the folder (with its parents) on every call; throws std::filesystem::filesystem_error
// when it cannot be created.
QUrl folder();

// folder / "Vorn yyyy-MM-dd at HH.mm.ss.mp4" for the current local time. No uniquing suffix:
// two takes started in the same second get the same name.
QUrl nextURL();

}  // namespace Takes
}  // namespace vorn
