#include "paymentmdb.h"

#include "publishedkeys.h"

/// Indexed by PaymentSource::handlerIndex(): the highest flag wins.
void PaymentMDB::payoutInit()
{
    m_payoutHandlers.fill(&PaymentMDB::haveUniversalCoin);
    m_payoutHandlers[0] = &PaymentMDB::payNotEnough;
    m_payoutHandlers[1] = &PaymentMDB::billEnough;
    m_payoutHandlers[2] = m_payoutHandlers[3] = &PaymentMDB::coinEnough;
    for (std::size_t i = 4; i < 8; ++i)
        m_payoutHandlers[i] = &PaymentMDB::tokenEnough;
}

void PaymentMDB::payNotEnough() { }

/// What the bill is worth beyond the price becomes coin credit, to be paid out as change.
void PaymentMDB::billEnough()
{
    const int due = paymentrules::subtract(m_goodsValue, m_tokenValue);
    m_tokenValue = 0;
    m_coinPaidValue = due;
    m_coinValue = paymentrules::subtract(paymentrules::add(m_coinValue, m_billValue), due);
    m_mdbController.bill()->setCMD(8);
    m_billValue = 0;
}

void PaymentMDB::coinEnough()
{
    m_coinPaidValue = paymentrules::subtract(m_goodsValue, m_tokenValue);
    m_tokenValue = 0;
    m_coinValue = paymentrules::subtract(m_coinValue, m_coinPaidValue);
}

void PaymentMDB::tokenEnough()
{
    m_tokenValue = paymentrules::subtract(m_tokenValue, m_goodsValue);
}

void PaymentMDB::haveUniversalCoin()
{
    m_universalCoinCount -= 1;
}

void PaymentMDB::settleAccounts()
{
    if (m_billValue > 0) {
        returnBill();
        publish();
    }
    m_tokenValue = 0;
    if (m_coinValue >= 1) {
        if (m_coinIsPayouting)
            return;
        payOutCoins();
        publish();
        return;
    }
    // The bill's return ends the session.
    if (m_billValue != 0)
        return;
    updateAcceptValue();
    startPayEndTimer();
    insertCredit();
    publish();
}

void PaymentMDB::returnBill()
{
    m_mdbController.bill()->setCMD(9);
    m_billIsPayouting = true;
}

void PaymentMDB::payOutCoins()
{
    m_mdbController.coin()->setPayoutAmount(m_coinValue);
    m_mdbController.coin()->setCMD(8);
    m_coinIsPayouting = true;
}

void PaymentMDB::updateTubeState()
{
    const QJsonObject state = m_coinState.value(recordkey::state).toObject();
    if (state.value(recordkey::enable).toBool() && state.value(recordkey::active).toBool())
        m_mdbController.coin()->setCMD(3);
}

void PaymentMDB::analysisCoinTube(QJsonObject *record)
{
    record->insert(recordkey::needTip, paymentrules::tubesNeedTip(*record, m_tubeCoinCountTip));
}
