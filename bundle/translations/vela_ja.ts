<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="ja_JP">
<context>
    <name>vela::AlertUtil</name>
    <message>
        <source>OK</source>
        <translation>OK</translation>
    </message>
    <message>
        <source>Logout</source>
        <translation>ログアウト</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>キャンセル</translation>
    </message>
</context>
<context>
    <name>vela::ApplicationMain</name>
    <message>
        <source>Another installer is working on this Mac. Please try again when it has finished.</source>
        <translation>別のインストーラがこの Mac で作業中です。終了してからもう一度お試しください。</translation>
    </message>
    <message>
        <source>The installer cannot lock %1 (%2). Nothing was changed.</source>
        <translation>インストーラは %1 をロックできません（%2）。何も変更されていません。</translation>
    </message>
    <message>
        <source>The target volume %1 does not exist.</source>
        <translation>インストール先のボリューム %1 が存在しません。</translation>
    </message>
    <message>
        <source>Error</source>
        <translation>エラー</translation>
    </message>
</context>
<context>
    <name>vela::InstallCompleteViewController</name>
    <message>
        <source>Install of VELA desktop application</source>
        <translation>VELA デスクトップアプリケーションのインストール</translation>
    </message>
    <message>
        <source>Install complete</source>
        <translation>インストールが完了しました</translation>
    </message>
    <message>
        <source>Completion</source>
        <translation>完了</translation>
    </message>
    <message>
        <source>Next</source>
        <translation>次へ</translation>
    </message>
</context>
<context>
    <name>vela::InstallFailureViewController</name>
    <message>
        <source>Install of VELA desktop application</source>
        <translation>VELA デスクトップアプリケーションのインストール</translation>
    </message>
    <message>
        <source>Close</source>
        <translation>閉じる</translation>
    </message>
    <message>
        <source>Installation couldn&apos;t be completed</source>
        <translation>インストールを完了できませんでした</translation>
    </message>
    <message>
        <source>Error occurred</source>
        <translation>エラーが発生しました</translation>
    </message>
</context>
<context>
    <name>vela::InstallStartViewController</name>
    <message>
        <source>Install of VELA desktop application</source>
        <translation>VELA デスクトップアプリケーションのインストール</translation>
    </message>
    <message>
        <source>Install</source>
        <translation>インストール</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>キャンセル</translation>
    </message>
    <message>
        <source>Welcome to VELA installer</source>
        <translation>VELA インストーラへようこそ</translation>
    </message>
    <message>
        <source>Start install for desktop application</source>
        <translation>デスクトップアプリケーションのインストールを開始します</translation>
    </message>
    <message>
        <source>Please install with administrator privileges</source>
        <translation>管理者権限でインストールしてください</translation>
    </message>
    <message>
        <source>An earlier installation did not end and could not be repaired. The log says what is left and where.</source>
        <translation>前回のインストールが終了しておらず、修復できませんでした。残っている内容と場所はログに記録されています。</translation>
    </message>
    <message>
        <source>Error</source>
        <translation>エラー</translation>
    </message>
</context>
<context>
    <name>vela::InstallationViewController</name>
    <message>
        <source>Install of VELA desktop application</source>
        <translation>VELA デスクトップアプリケーションのインストール</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>キャンセル</translation>
    </message>
    <message>
        <source>Installing...</source>
        <translation>インストールしています...</translation>
    </message>
</context>
<context>
    <name>vela::StartUp</name>
    <message>
        <source>The OS Version below 10.12 is not applicable</source>
        <translation>10.12 より前の OS バージョンには対応していません</translation>
    </message>
    <message>
        <source>Not applicable OS version</source>
        <translation>対応していない OS バージョン</translation>
    </message>
</context>
<context>
    <name>vela::TutorialViewController</name>
    <message>
        <source>Close</source>
        <translation>閉じる</translation>
    </message>
</context>
</TS>
