#pragma once

namespace parlowen {

/// Has all windows speak the language of windows (`windowLanguage`). Texts in the sources are Chinese; those in English
/// come from resources/translations. Windows that are open hear QEvent::LanguageChange, and those that keep texts
/// renew them then. Needs the application object. Main thread only.
void translateWindows();

} // namespace parlowen
