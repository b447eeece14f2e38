import QtQuick 2.12

/// How the machine of the demo is built: change in five tubes, tokens for a free drink, a reader
/// that decides by itself and one that waits for a person.
QtObject {
    readonly property var config: ({
        coin: {
            coinTypes: [
                { credit: 1, toTube: true, count: 24, capacity: 60 },
                { credit: 2, toTube: true, count: 30, capacity: 60 },
                { credit: 4, toTube: true, count: 38, capacity: 60 },
                { credit: 10, toTube: true, count: 27, capacity: 50 },
                { credit: 20, toTube: true, count: 33, capacity: 50 },
                { credit: 40 },
                { credit: 255 }
            ],
            msPerCoin: 400
        },
        bill: { },
        cashless1: { },
        cashless2: { autoApprove: false }
    })
}
