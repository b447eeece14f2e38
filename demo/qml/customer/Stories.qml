import QtQuick 2.12

/// All stories, in the order in which they are told.
QtObject {
    id: stories

    readonly property list<Story> all: [
        ReadyStory { },
        CoinStory { },
        BillStory { },
        TokenStory { },
        CardStory { },
        DeniedStory { },
        CardCancelStory { },
        ScreenCancelStory { },
        FailedDrinkStory { },
        NoChangeStory { },
        OfflineStory { },
        LanguageStory { },
        PanelStory { },
        MoreDrinksStory { },
        CableStory { }
    ]
    property var queue: []

    /// What can be selected; the first story is always told.
    function names() {
        var found = []
        for (var i = 1; i < all.length; ++i)
            found.push(all[i].name)
        return found.join(", ")
    }

    /// Takes the story of this name, or all of them, after the first; false if there is none.
    function select(name) {
        for (var i = 1; i < all.length; ++i) {
            if (!name || all[i].name === name)
                queue.push(all[i])
        }
        var known = queue.length > 0
        queue.unshift(all[0])
        return known
    }

    function next() {
        return queue.shift() || null
    }
}
