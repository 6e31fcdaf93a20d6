#pragma once
// The wizard's own window. Made by `MakeWindow`; lays out the steps, the previews and the buttons.

#include <memory>

#include "wizard/frm_kelvorin.h"
#include "wizard/qt/form_window.h"

namespace kelvorin::wizard::qt {

std::unique_ptr<FormWindow> MakeWizardWindow(frmKelvorin& form);

}  // namespace kelvorin::wizard::qt
