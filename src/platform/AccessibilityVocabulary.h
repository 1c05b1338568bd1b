#pragma once

// The accessibility vocabulary that capture and delivery speak: attribute, parameterised
// attribute, role and action names. Capture, delivery and the simulated desktop use these
// constants; a desktop backend translates them into its own toolkit's terms in one place.

#include <QString>

namespace brindlet {

namespace AXAttribute {
inline const QString children = QStringLiteral("AXChildren");
inline const QString domIdentifier = QStringLiteral("AXDOMIdentifier");
inline const QString description = QStringLiteral("AXDescription");
inline const QString focused = QStringLiteral("AXFocused");
inline const QString focusedUIElement = QStringLiteral("AXFocusedUIElement");
inline const QString focusedWindow = QStringLiteral("AXFocusedWindow");
inline const QString identifier = QStringLiteral("AXIdentifier");
inline const QString manualAccessibility = QStringLiteral("AXManualAccessibility");
inline const QString numberOfCharacters = QStringLiteral("AXNumberOfCharacters");
inline const QString parent = QStringLiteral("AXParent");
inline const QString role = QStringLiteral("AXRole");
inline const QString selectedText = QStringLiteral("AXSelectedText");
inline const QString selectedTextMarkerRange = QStringLiteral("AXSelectedTextMarkerRange");
inline const QString selectedTextRange = QStringLiteral("AXSelectedTextRange");
inline const QString title = QStringLiteral("AXTitle");
inline const QString value = QStringLiteral("AXValue");
inline const QString windows = QStringLiteral("AXWindows");
} // namespace AXAttribute

namespace AXParameterizedAttribute {
inline const QString boundsForRange = QStringLiteral("AXBoundsForRange");
inline const QString boundsForTextMarkerRange = QStringLiteral("AXBoundsForTextMarkerRange");
inline const QString stringForRange = QStringLiteral("AXStringForRange");
inline const QString stringForTextMarkerRange = QStringLiteral("AXStringForTextMarkerRange");
} // namespace AXParameterizedAttribute

namespace AXRole {
inline const QString application = QStringLiteral("AXApplication");
inline const QString button = QStringLiteral("AXButton");
inline const QString comboBox = QStringLiteral("AXComboBox");
inline const QString group = QStringLiteral("AXGroup");
inline const QString scrollArea = QStringLiteral("AXScrollArea");
inline const QString searchField = QStringLiteral("AXSearchField");
inline const QString staticText = QStringLiteral("AXStaticText");
inline const QString textArea = QStringLiteral("AXTextArea");
inline const QString textField = QStringLiteral("AXTextField");
inline const QString toolbar = QStringLiteral("AXToolbar");
inline const QString webArea = QStringLiteral("AXWebArea");
inline const QString window = QStringLiteral("AXWindow");
} // namespace AXRole

namespace AXAction {
inline const QString raise = QStringLiteral("AXRaise");
} // namespace AXAction

} // namespace brindlet
