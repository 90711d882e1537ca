import QtQuick
import QtQuick.Layouts
import Lingrelay.Controls
import Lingrelay.Model

/// What the service is told about the subject.
Section {
    title: T("Priming", "Chuẩn bị trước")
    footer: T("Declaring the subject makes the model pick domain wording instead of translating literally.", "Khai báo chủ đề giúp model chọn đúng cách nói chuyên ngành thay vì dịch theo nghĩa đen.")

    FormRow {
        iconName: "book"
        title: T("Context profile", "Hồ sơ chủ đề")

        Label {
            text: App.profileName
            color: Theme.secondary
        }
    }
    FormRow {
        visible: App.profileCounts.length > 0
        iconName: "terms"
        title: T("Terms · forced pairs", "Thuật ngữ · cặp ép dịch")

        Label {
            text: App.profileCounts
            color: Theme.secondary
        }
    }
}
