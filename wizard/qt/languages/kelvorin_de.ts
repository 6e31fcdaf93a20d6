<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de" sourcelanguage="en">
<context>
<name>kelvorin</name>
<message>
<source>...</source>
<translation>...</translation>
</message>
<message>
<source>Rejected records</source>
<translation>Abgelehnte Sätze</translation>
</message>
<message>
<source>%1 record was not imported.</source>
<translation>%1 Satz wurde nicht importiert.</translation>
</message>
<message>
<source>%1 records were not imported.</source>
<translation>%1 Sätze wurden nicht importiert.</translation>
</message>
<message>
<source>The first %1 are shown.</source>
<translation>Die ersten %1 werden gezeigt.</translation>
</message>
<message>
<source>The first %1 can be saved.</source>
<translation>Die ersten %1 können gesichert werden.</translation>
</message>
<message>
<source>Line</source>
<translation>Zeile</translation>
</message>
<message>
<source>Field</source>
<translation>Feld</translation>
</message>
<message>
<source>Value</source>
<translation>Wert</translation>
</message>
<message>
<source>Reason</source>
<translation>Grund</translation>
</message>
<message>
<source>Error</source>
<translation>Fehler</translation>
</message>
<message>
<source>%1 and %2</source>
<translation>%1 und %2</translation>
</message>
<message>
<source>comma</source>
<translation>Komma</translation>
</message>
<message>
<source>semicolon</source>
<translation>Semikolon</translation>
</message>
<message>
<source>space</source>
<translation>Leerzeichen</translation>
</message>
<message>
<source>tab</source>
<translation>Tabulator</translation>
</message>
<message>
<source>unit separator</source>
<translation>Einheitentrenner</translation>
</message>
<message>
<source>no separator</source>
<translation>kein Trennzeichen</translation>
</message>
<message>
<source>(binary)</source>
<translation>(binär)</translation>
</message>
<message>
<source>(unreadable)</source>
<translation>(unlesbar)</translation>
</message>
<message>
<source>other record separator</source>
<translation>anderes Satzende</translation>
</message>
<message>
<source>fixed length</source>
<translation>feste Länge</translation>
</message>
<message>
<source>CR LF</source>
<translation>CR LF</translation>
</message>
<message>
<source>CR</source>
<translation>CR</translation>
</message>
<message>
<source>LF</source>
<translation>LF</translation>
</message>
<message>
<source>Delimited text</source>
<translation>Text mit Trennzeichen</translation>
</message>
<message>
<source>Fixed-width text</source>
<translation>Text mit festen Spalten</translation>
</message>
<message>
<source>HTML tags</source>
<translation>HTML-Marken</translation>
</message>
<message>
<source>Access</source>
<translation>Access</translation>
</message>
<message>
<source>Paradox 3.x</source>
<translation>Paradox 3.x</translation>
</message>
<message>
<source>Paradox 4.x</source>
<translation>Paradox 4.x</translation>
</message>
<message>
<source>Paradox 5.x</source>
<translation>Paradox 5.x</translation>
</message>
<message>
<source>dBASE III</source>
<translation>dBASE III</translation>
</message>
<message>
<source>dBASE IV</source>
<translation>dBASE IV</translation>
</message>
<message>
<source>dBASE 5.0</source>
<translation>dBASE 5.0</translation>
</message>
<message>
<source>FoxPro 2.0</source>
<translation>FoxPro 2.0</translation>
</message>
<message>
<source>FoxPro 2.5</source>
<translation>FoxPro 2.5</translation>
</message>
<message>
<source>FoxPro 2.6</source>
<translation>FoxPro 2.6</translation>
</message>
<message>
<source>FoxPro 3.0</source>
<translation>FoxPro 3.0</translation>
</message>
<message>
<source>ODBC</source>
<translation>ODBC</translation>
</message>
<message>
<source>The file has no records to show.</source>
<translation>Die Datei hat keine Sätze, die sich zeigen lassen.</translation>
</message>
<message>
<source>%1 of %2 have %3.</source>
<translation>%1 von %2 haben %3.</translation>
</message>
<message>
<source>%1 line</source>
<translation>%1 Zeile</translation>
</message>
<message>
<source>%1 lines</source>
<translation>%1 Zeilen</translation>
</message>
<message>
<source>%1 field</source>
<translation>%1 Feld</translation>
</message>
<message>
<source>%1 fields</source>
<translation>%1 Felder</translation>
</message>
<message>
<source>%1 line ends inside a text delimiter.</source>
<translation>%1 Zeile endet innerhalb eines Textbegrenzers.</translation>
</message>
<message>
<source>%1 lines end inside a text delimiter.</source>
<translation>%1 Zeilen enden innerhalb eines Textbegrenzers.</translation>
</message>
<message>
<source>The advanced options tell whether line ends inside quotes are data.</source>
<translation>In den erweiterten Einstellungen steht, ob Zeilenenden in Anführungszeichen Daten sind.</translation>
</message>
<message>
<source>Target field</source>
<translation>Zielfeld</translation>
</message>
<message>
<source>Type</source>
<translation>Typ</translation>
</message>
<message>
<source>Size</source>
<translation>Größe</translation>
</message>
<message>
<source>Source field</source>
<translation>Quellfeld</translation>
</message>
<message>
<source>More</source>
<translation>Mehr</translation>
</message>
<message>
<source>Source field for %1</source>
<translation>Quellfeld für %1</translation>
</message>
<message>
<source>This action will reset all the mapping, continue ?</source>
<translation>Damit geht die ganze Zuordnung verloren. Fortfahren?</translation>
</message>
<message>
<source>Confirmation</source>
<translation>Bestätigung</translation>
</message>
<message>
<source>%1 of %2 fields mapped</source>
<translation>%1 von %2 Feldern zugeordnet</translation>
</message>
<message>
<source>%1 value shown would not arrive as it is (marked).</source>
<translation>%1 gezeigter Wert käme nicht unverändert an (markiert).</translation>
</message>
<message>
<source>%1 values shown would not arrive as they are (marked).</source>
<translation>%1 gezeigte Werte kämen nicht unverändert an (markiert).</translation>
</message>
<message>
<source>The record length %1 is too large: settings hold numbers up to 32767</source>
<translation>Die Satzlänge %1 ist zu groß: Einstellungen fassen Zahlen bis 32767</translation>
</message>
<message>
<source>The number of lines %1 is too large: settings hold numbers up to 32767</source>
<translation>Die Zeilenzahl %1 ist zu groß: Einstellungen fassen Zahlen bis 32767</translation>
</message>
<message>
<source>The first line %1 is too large: settings hold numbers up to 32767</source>
<translation>Die erste Zeile %1 ist zu groß: Einstellungen fassen Zahlen bis 32767</translation>
</message>
<message>
<source>The number of errors %1 is too large: settings hold numbers up to 32767</source>
<translation>Die Fehlerzahl %1 ist zu groß: Einstellungen fassen Zahlen bis 32767</translation>
</message>
<message>
<source>Advanced options</source>
<translation>Erweiterte Einstellungen</translation>
</message>
<message>
<source>Groups of options</source>
<translation>Gruppen von Einstellungen</translation>
</message>
<message>
<source>Other record separator</source>
<translation>Anderes Satzende</translation>
</message>
<message>
<source>Record length</source>
<translation>Satzlänge</translation>
</message>
<message>
<source>First line</source>
<translation>Erste Zeile</translation>
</message>
<message>
<source>Lines to import</source>
<translation>Zu importierende Zeilen</translation>
</message>
<message>
<source>Index</source>
<translation>Index</translation>
</message>
<message>
<source>Number of errors</source>
<translation>Anzahl der Fehler</translation>
</message>
<message>
<source>Log file</source>
<translation>Protokolldatei</translation>
</message>
<message>
<source>Browse for the log file</source>
<translation>Protokolldatei auswählen</translation>
</message>
<message>
<source>Encoding</source>
<translation>Kodierung</translation>
</message>
<message>
<source>Dos page</source>
<translation>DOS-Seite</translation>
</message>
<message>
<source>Order of dates</source>
<translation>Reihenfolge im Datum</translation>
</message>
<message>
<source>Decimal sign</source>
<translation>Dezimalzeichen</translation>
</message>
<message>
<source>Text for Null</source>
<translation>Text für Null</translation>
</message>
<message>
<source>First records</source>
<translation>Erste Sätze</translation>
</message>
<message>
<source>Trace on</source>
<translation>Protokoll ein</translation>
</message>
<message>
<source>Trace off</source>
<translation>Protokoll aus</translation>
</message>
<message>
<source>CRLF, carriage return and line feed</source>
<translation>CRLF, Wagenrücklauf und Zeilenvorschub</translation>
</message>
<message>
<source>CR, carriage return</source>
<translation>CR, Wagenrücklauf</translation>
</message>
<message>
<source>LF, line feed</source>
<translation>LF, Zeilenvorschub</translation>
</message>
<message>
<source>General</source>
<translation>Allgemein</translation>
</message>
<message>
<source>Import Mode</source>
<translation>Art des Imports</translation>
</message>
<message>
<source>Errors/Trace</source>
<translation>Fehler/Protokoll</translation>
</message>
<message>
<source>Advanced</source>
<translation>Erweitert</translation>
</message>
<message>
<source>No index</source>
<translation>Kein Index</translation>
</message>
<message>
<source>(usual)</source>
<translation>(üblich)</translation>
</message>
<message>
<source>UTF-16, big end first</source>
<translation>UTF-16, höheres Byte zuerst</translation>
</message>
<message>
<source>day month year</source>
<translation>Tag Monat Jahr</translation>
</message>
<message>
<source>month day year</source>
<translation>Monat Tag Jahr</translation>
</message>
<message>
<source>year month day</source>
<translation>Jahr Monat Tag</translation>
</message>
<message>
<source>point</source>
<translation>Punkt</translation>
</message>
<message>
<source>The table has no index</source>
<translation>Die Tabelle hat keinen Index</translation>
</message>
<message>
<source>Warning</source>
<translation>Warnung</translation>
</message>
<message>
<source>You must choose an index</source>
<translation>Bitte einen Index wählen</translation>
</message>
<message>
<source>Close</source>
<translation>Schließen</translation>
</message>
<message>
<source>Cancel</source>
<translation>Abbrechen</translation>
</message>
<message>
<source>Back</source>
<translation>Zurück</translation>
</message>
<message>
<source>Next</source>
<translation>Weiter</translation>
</message>
<message>
<source>Target table</source>
<translation>Zieltabelle</translation>
</message>
<message>
<source>Source type</source>
<translation>Quellentyp</translation>
</message>
<message>
<source>File name</source>
<translation>Dateiname</translation>
</message>
<message>
<source>Table</source>
<translation>Tabelle</translation>
</message>
<message>
<source>Other separator</source>
<translation>Anderes Trennzeichen</translation>
</message>
<message>
<source>Text delimiter</source>
<translation>Textbegrenzer</translation>
</message>
<message>
<source>Breaks</source>
<translation>Spaltengrenzen</translation>
</message>
<message>
<source>Mapping of fields</source>
<translation>Zuordnung der Felder</translation>
</message>
<message>
<source>File preview</source>
<translation>Vorschau der Datei</translation>
</message>
<message>
<source>Preview of the records</source>
<translation>Vorschau der Sätze</translation>
</message>
<message>
<source>Column breaks</source>
<translation>Spaltengrenzen</translation>
</message>
<message>
<source>(none)</source>
<translation>(keiner)</translation>
</message>
<message>
<source>Error in opening Table %1</source>
<translation>Die Tabelle %1 lässt sich nicht öffnen</translation>
</message>
<message>
<source>Error in opening DataBase %1</source>
<translation>Die Datenbank %1 lässt sich nicht öffnen</translation>
</message>
<message>
<source>The database has no table that records can be imported into.</source>
<translation>Die Datenbank hat keine Tabelle, in die sich importieren lässt.</translation>
</message>
<message>
<source>There is no table '%1' in the database.</source>
<translation>In der Datenbank gibt es keine Tabelle '%1'.</translation>
</message>
<message>
<source>Error in reading the setting %1</source>
<translation>Die Einstellung %1 lässt sich nicht lesen</translation>
</message>
<message>
<source>The mapping of the fields was neither imported nor saved. Close all the same ?</source>
<translation>Mit der Zuordnung der Felder wurde weder importiert noch wurde sie gesichert. Trotzdem schließen?</translation>
</message>
<message>
<source>The following Error Occured:</source>
<translation>Es ist ein Fehler aufgetreten:</translation>
</message>
<message>
<source>L&amp;ine %1 holds the names</source>
<translation>Zeile %1 enthält die Na&amp;men</translation>
</message>
<message>
<source>First l&amp;ine holds the names</source>
<translation>Erste Zeile enthält die Na&amp;men</translation>
</message>
<message>
<source>The detection takes this line for the names of the columns.</source>
<translation>Die Erkennung hält diese Zeile für die Namen der Spalten.</translation>
</message>
<message>
<source>Takes the names of the columns from that line and begins the import behind it.</source>
<translation>Nimmt die Namen der Spalten aus dieser Zeile und beginnt den Import dahinter.</translation>
</message>
<message>
<source>No breaks</source>
<translation>Keine Spaltengrenzen</translation>
</message>
<message>
<source>Breaks at %1</source>
<translation>Spaltengrenzen bei %1</translation>
</message>
<message>
<source>Break at %1</source>
<translation>Spaltengrenze bei %1</translation>
</message>
<message>
<source>%1 record with another number of fields than most (in bold).</source>
<translation>%1 Satz mit einer anderen Zahl von Feldern als die meisten (fett).</translation>
</message>
<message>
<source>%1 records with another number of fields than most (in bold).</source>
<translation>%1 Sätze mit einer anderen Zahl von Feldern als die meisten (fett).</translation>
</message>
<message>
<source>%1 record with a text delimiter that is not closed.</source>
<translation>%1 Satz mit einem Textbegrenzer, der nicht geschlossen wird.</translation>
</message>
<message>
<source>%1 records with a text delimiter that is not closed.</source>
<translation>%1 Sätze mit einem Textbegrenzer, der nicht geschlossen wird.</translation>
</message>
<message>
<source>%1 record with text behind the last break, which is not imported.</source>
<translation>%1 Satz mit Text hinter der letzten Spaltengrenze, der nicht importiert wird.</translation>
</message>
<message>
<source>%1 records with text behind the last break, which is not imported.</source>
<translation>%1 Sätze mit Text hinter der letzten Spaltengrenze, der nicht importiert wird.</translation>
</message>
<message>
<source>%1 record with characters of several bytes; breaks count characters.</source>
<translation>%1 Satz mit Zeichen aus mehreren Bytes; Spaltengrenzen zählen Zeichen.</translation>
</message>
<message>
<source>%1 records with characters of several bytes; breaks count characters.</source>
<translation>%1 Sätze mit Zeichen aus mehreren Bytes; Spaltengrenzen zählen Zeichen.</translation>
</message>
<message>
<source>All records shown have %1 field.</source>
<translation>Alle gezeigten Sätze haben %1 Feld.</translation>
</message>
<message>
<source>All records shown have %1 fields.</source>
<translation>Alle gezeigten Sätze haben %1 Felder.</translation>
</message>
<message>
<source>No records to show.</source>
<translation>Keine Sätze zu zeigen.</translation>
</message>
<message>
<source>Choose what to import from with the button "%1".</source>
<translation>Bitte mit dem Knopf "%1" wählen, woraus importiert wird.</translation>
</message>
<message>
<source>There is no table to import from.</source>
<translation>Es gibt keine Tabelle zum Importieren.</translation>
</message>
<message>
<source>Choose the file to import.</source>
<translation>Bitte die Datei wählen, die importiert wird.</translation>
</message>
<message>
<source>There is no such file.</source>
<translation>Diese Datei gibt es nicht.</translation>
</message>
<message>
<source>a text file</source>
<translation>eine Textdatei</translation>
</message>
<message>
<source>an Access database</source>
<translation>eine Access-Datenbank</translation>
</message>
<message>
<source>a Paradox table</source>
<translation>eine Paradox-Tabelle</translation>
</message>
<message>
<source>a dBASE or FoxPro table</source>
<translation>eine dBASE- oder FoxPro-Tabelle</translation>
</message>
<message>
<source>a data source</source>
<translation>eine Datenquelle</translation>
</message>
<message>
<source>'%1' is %2, not %3. Choose another file or source type.</source>
<translation>'%1' ist %2, nicht %3. Bitte eine andere Datei oder einen anderen Quellentyp wählen.</translation>
</message>
<message>
<source>(Null)</source>
<translation>(Null)</translation>
</message>
<message>
<source>Save Setting</source>
<translation>Einstellung sichern</translation>
</message>
<message>
<source>Type in the name of the setting:</source>
<translation>Name der Einstellung:</translation>
</message>
<message>
<source>Import Settings</source>
<translation>Import-Einstellungen</translation>
</message>
<message>
<source>Available settings</source>
<translation>Vorhandene Einstellungen</translation>
</message>
<message>
<source>Are you sure that you want to delete the setting '%1' ?</source>
<translation>Soll die Einstellung '%1' wirklich gelöscht werden?</translation>
</message>
<message>
<source>%1 s</source>
<translation>%1 s</translation>
</message>
<message>
<source>%1 min</source>
<translation>%1 min</translation>
</message>
<message>
<source>%1 h %2 min</source>
<translation>%1 h %2 min</translation>
</message>
<message>
<source>Import...</source>
<translation>Import...</translation>
</message>
<message>
<source>Progress of the import</source>
<translation>Fortschritt des Imports</translation>
</message>
<message>
<source>Are you sure that you want to stop the import process?</source>
<translation>Soll der Import wirklich abgebrochen werden?</translation>
</message>
<message>
<source>%1 records per second, about %2 left</source>
<translation>%1 Sätze je Sekunde, noch etwa %2</translation>
</message>
<message>
<source>%1 records per second</source>
<translation>%1 Sätze je Sekunde</translation>
</message>
<message>
<source>Database Logon</source>
<translation>Anmeldung an der Datenbank</translation>
</message>
<message>
<source>Database</source>
<translation>Datenbank</translation>
</message>
<message>
<source>Browse for the database</source>
<translation>Datenbank auswählen</translation>
</message>
<message>
<source>Datasource</source>
<translation>Datenquelle</translation>
</message>
<message>
<source>User id</source>
<translation>Benutzer</translation>
</message>
<message>
<source>Password</source>
<translation>Kennwort</translation>
</message>
<message>
<source>Password Required</source>
<translation>Kennwort nötig</translation>
</message>
<message>
<source>Database password</source>
<translation>Kennwort der Datenbank</translation>
</message>
<message>
<source>New table</source>
<translation>Neue Tabelle</translation>
</message>
<message>
<source>Name of the table</source>
<translation>Name der Tabelle</translation>
</message>
<message>
<source>Fields of the new table</source>
<translation>Felder der neuen Tabelle</translation>
</message>
<message>
<source>Name of the field</source>
<translation>Name des Feldes</translation>
</message>
<message>
<source>Type of the field</source>
<translation>Typ des Feldes</translation>
</message>
<message>
<source>Size of the field</source>
<translation>Größe des Feldes</translation>
</message>
<message>
<source>First value</source>
<translation>Erster Wert</translation>
</message>
<message>
<source>(not made)</source>
<translation>(entfällt)</translation>
</message>
<message>
<source>A table needs a name and at least one field</source>
<translation>Eine Tabelle braucht einen Namen und mindestens ein Feld</translation>
</message>
<message>
<source>Source</source>
<translation>Quelle</translation>
</message>
<message>
<source>Separators</source>
<translation>Trennzeichen</translation>
</message>
<message>
<source>Columns</source>
<translation>Spalten</translation>
</message>
<message>
<source>Fields</source>
<translation>Felder</translation>
</message>
<message>
<source>&amp;Target table:</source>
<translation>Ziel&amp;tabelle:</translation>
</message>
<message>
<source>Ne&amp;w table...</source>
<translation>Neue Ta&amp;belle...</translation>
</message>
<message>
<source>Source &amp;type:</source>
<translation>Quellen&amp;typ:</translation>
</message>
<message>
<source>Fi&amp;le name:</source>
<translation>&amp;Dateiname:</translation>
</message>
<message>
<source>Tabl&amp;e:</source>
<translation>T&amp;abelle:</translation>
</message>
<message>
<source>Browse...</source>
<translation>Durchsuchen...</translation>
</message>
<message>
<source>Detect a&amp;gain</source>
<translation>Neu er&amp;kennen</translation>
</message>
<message>
<source>&amp;Use suggestion</source>
<translation>&amp;Vorschlag verwenden</translation>
</message>
<message>
<source>&amp;Comma</source>
<translation>&amp;Komma</translation>
</message>
<message>
<source>Se&amp;micolon</source>
<translation>Semik&amp;olon</translation>
</message>
<message>
<source>S&amp;pace</source>
<translation>Leerzei&amp;chen</translation>
</message>
<message>
<source>&amp;Tab</source>
<translation>&amp;Tabulator</translation>
</message>
<message>
<source>&amp;Other:</source>
<translation>&amp;Anderes:</translation>
</message>
<message>
<source>Text &amp;delimiter:</source>
<translation>Te&amp;xtbegrenzer:</translation>
</message>
<message>
<source>Brea&amp;ks:</source>
<translation>&amp;Grenzen:</translation>
</message>
<message>
<source>&amp;Undo</source>
<translation>&amp;Rückgängig</translation>
</message>
<message>
<source>&amp;Remove all</source>
<translation>&amp;Alle entfernen</translation>
</message>
<message>
<source>&amp;Map equal names</source>
<translation>Gleiche Namen z&amp;uordnen</translation>
</message>
<message>
<source>Map in &amp;order</source>
<translation>&amp;Der Reihe nach</translation>
</message>
<message>
<source>File preview:</source>
<translation>Vorschau der Datei:</translation>
</message>
<message>
<source>Table preview:</source>
<translation>Vorschau der Tabelle:</translation>
</message>
<message>
<source>The import empties the target table first.</source>
<translation>Der Import leert zuerst die Zieltabelle.</translation>
</message>
<message>
<source>Save report...</source>
<translation>Bericht sichern...</translation>
</message>
<message>
<source>&amp;Settings...</source>
<translation>Ei&amp;nstellungen...</translation>
</message>
<message>
<source>Sa&amp;ve setting...</source>
<translation>Einstellung &amp;sichern...</translation>
</message>
<message>
<source>&amp;Advanced...</source>
<translation>Erwe&amp;itert...</translation>
</message>
<message>
<source>Re&amp;jected records...</source>
<translation>Abge&amp;lehnte Sätze...</translation>
</message>
<message>
<source>&amp;Help</source>
<translation>&amp;Hilfe</translation>
</message>
<message>
<source>&lt; &amp;Back</source>
<translation>&lt; &amp;Zurück</translation>
</message>
<message>
<source>&amp;Next &gt;</source>
<translation>W&amp;eiter &gt;</translation>
</message>
<message>
<source>&amp;Finish</source>
<translation>&amp;Fertig stellen</translation>
</message>
<message>
<source>&amp;Name of the table:</source>
<translation>&amp;Name der Tabelle:</translation>
</message>
<message>
<source>&amp;Make this field</source>
<translation>Dieses Feld &amp;anlegen</translation>
</message>
<message>
<source>&amp;Field:</source>
<translation>&amp;Feld:</translation>
</message>
<message>
<source>&amp;Type:</source>
<translation>&amp;Typ:</translation>
</message>
<message>
<source>&amp;Size:</source>
<translation>&amp;Größe:</translation>
</message>
<message>
<source>Make ta&amp;ble</source>
<translation>Tabelle an&amp;legen</translation>
</message>
<message>
<source>&amp;Save rejected records...</source>
<translation>Abgelehnte Sätze &amp;sichern...</translation>
</message>
<message>
<source>Connection Values</source>
<translation>Verbindung</translation>
</message>
<message>
<source>&amp;Database:</source>
<translation>&amp;Datenbank:</translation>
</message>
<message>
<source>&amp;Datasource:</source>
<translation>&amp;Datenquelle:</translation>
</message>
<message>
<source>&amp;UID:</source>
<translation>&amp;Benutzer:</translation>
</message>
<message>
<source>&amp;Password:</source>
<translation>&amp;Kennwort:</translation>
</message>
<message>
<source>&amp;OK</source>
<translation>&amp;OK</translation>
</message>
<message>
<source>&amp;Enter database password:</source>
<translation>&amp;Kennwort der Datenbank:</translation>
</message>
<message>
<source>&amp;Cancel</source>
<translation>&amp;Abbrechen</translation>
</message>
<message>
<source>Open</source>
<translation>Öffnen</translation>
</message>
<message>
<source>Delete</source>
<translation>Löschen</translation>
</message>
<message>
<source>Record separator</source>
<translation>Satzende</translation>
</message>
<message>
<source>CRLF</source>
<translation>CRLF</translation>
</message>
<message>
<source>Othe&amp;r:</source>
<translation>Ander&amp;es:</translation>
</message>
<message>
<source>&amp;No separator, record length:</source>
<translation>&amp;Kein Satzende, Satzlänge:</translation>
</message>
<message>
<source>Line ends inside &amp;quotes are data</source>
<translation>Zeilenenden in An&amp;führungszeichen sind Daten</translation>
</message>
<message>
<source>Do&amp;s to Windows</source>
<translation>&amp;DOS nach Windows</translation>
</message>
<message>
<source>&amp;Upper case</source>
<translation>&amp;Großbuchstaben</translation>
</message>
<message>
<source>&amp;Lower case</source>
<translation>K&amp;leinbuchstaben</translation>
</message>
<message>
<source>&amp;First line:</source>
<translation>Er&amp;ste Zeile:</translation>
</message>
<message>
<source>Import &amp;all lines</source>
<translation>&amp;Alle Zeilen importieren</translation>
</message>
<message>
<source>Lines &amp;to import:</source>
<translation>&amp;Zeilen:</translation>
</message>
<message>
<source>A&amp;ppend records</source>
<translation>Sätze an&amp;fügen</translation>
</message>
<message>
<source>&amp;Update records</source>
<translation>Sätze ä&amp;ndern</translation>
</message>
<message>
<source>U&amp;se the index</source>
<translation>Über den In&amp;dex</translation>
</message>
<message>
<source>In table &amp;order</source>
<translation>In &amp;Tabellenfolge</translation>
</message>
<message>
<source>&amp;Index:</source>
<translation>&amp;Index:</translation>
</message>
<message>
<source>&amp;Key lookup</source>
<translation>&amp;Schlüssel suchen</translation>
</message>
<message>
<source>Append to &amp;field contents</source>
<translation>An Feldinhalte anfü&amp;gen</translation>
</message>
<message>
<source>Append when the &amp;end is reached</source>
<translation>Am &amp;Ende anfügen</translation>
</message>
<message>
<source>&amp;Show errors</source>
<translation>&amp;Fehler zeigen</translation>
</message>
<message>
<source>Stop after too &amp;many errors</source>
<translation>&amp;Nach zu vielen Fehlern aufhören</translation>
</message>
<message>
<source>&amp;Number of errors:</source>
<translation>An&amp;zahl der Fehler:</translation>
</message>
<message>
<source>Trace:</source>
<translation>Protokoll:</translation>
</message>
<message>
<source>&amp;On</source>
<translation>&amp;Ein</translation>
</message>
<message>
<source>O&amp;ff</source>
<translation>&amp;Aus</translation>
</message>
<message>
<source>&amp;Log file:</source>
<translation>&amp;Protokolldatei:</translation>
</message>
<message>
<source>&amp;Append to the log</source>
<translation>An das Protokoll anfü&amp;gen</translation>
</message>
<message>
<source>&amp;Empty the target table first</source>
<translation>&amp;Zieltabelle zuerst leeren</translation>
</message>
<message>
<source>&amp;Delete the file after the import</source>
<translation>&amp;Datei nach dem Import löschen</translation>
</message>
<message>
<source>En&amp;coding:</source>
<translation>&amp;Kodierung:</translation>
</message>
<message>
<source>D&amp;os page:</source>
<translation>DOS-&amp;Seite:</translation>
</message>
<message>
<source>Da&amp;tes:</source>
<translation>Da&amp;tum:</translation>
</message>
<message>
<source>Decimal &amp;sign:</source>
<translation>Dezi&amp;malzeichen:</translation>
</message>
<message>
<source>Text for N&amp;ull:</source>
<translation>Te&amp;xt für Null:</translation>
</message>
<message>
<source>&amp;Remove blanks around values</source>
<translation>&amp;Leerzeichen um Werte entfernen</translation>
</message>
<message>
<source>Refuse values that would c&amp;hange</source>
<translation>Werte ablehnen, die sich ä&amp;ndern würden</translation>
</message>
<message>
<source>OK</source>
<translation>OK</translation>
</message>
<message>
<source>%1 of 1 record imported</source>
<translation>%1 von 1 Satz importiert</translation>
</message>
<message>
<source>%1 of %2 records imported</source>
<translation>%1 von %2 Sätzen importiert</translation>
</message>
<message>
<source>%1 rejected</source>
<translation>%1 abgelehnt</translation>
</message>
<message>
<source>%1 skipped</source>
<translation>%1 übergangen</translation>
</message>
<message>
<source>An error ended the import.</source>
<translation>Ein Fehler hat den Import beendet.</translation>
</message>
<message>
<source>The import was stopped.</source>
<translation>Der Import wurde abgebrochen.</translation>
</message>
<message>
<source>%1 value was cut to the size of its field.</source>
<translation>%1 Wert wurde auf die Größe seines Feldes gekürzt.</translation>
</message>
<message>
<source>%1 values were cut to the size of their field.</source>
<translation>%1 Werte wurden auf die Größe ihres Feldes gekürzt.</translation>
</message>
<message>
<source>%1 character was replaced, because a code page does not have it.</source>
<translation>%1 Zeichen wurde ersetzt, weil es in einer Codepage fehlt.</translation>
</message>
<message>
<source>%1 characters were replaced, because a code page does not have them.</source>
<translation>%1 Zeichen wurden ersetzt, weil sie in einer Codepage fehlen.</translation>
</message>
<message>
<source>%1 value is kept other than it was.</source>
<translation>%1 Wert ist nicht so gespeichert, wie er war.</translation>
</message>
<message>
<source>%1 values are kept other than they were.</source>
<translation>%1 Werte sind nicht so gespeichert, wie sie waren.</translation>
</message>
<message>
<source>The first is in line %1, field %2: '%3' is kept as '%4'.</source>
<translation>Der erste steht in Zeile %1, Feld %2: '%3' ist gespeichert als '%4'.</translation>
</message>
<message>
<source>%1 record holds a text delimiter that is never closed.</source>
<translation>%1 Satz enthält einen Textbegrenzer, der nie geschlossen wird.</translation>
</message>
<message>
<source>%1 records hold a text delimiter that is never closed.</source>
<translation>%1 Sätze enthalten einen Textbegrenzer, der nie geschlossen wird.</translation>
</message>
<message>
<source>%1 values stand in columns that are not mapped because neither the heading nor the first record has them; the first in line %2.</source>
<translation>%1 Werte stehen in Spalten, die nicht zugeordnet sind, weil sie weder in der Überschrift noch im ersten Satz vorkommen; der erste in Zeile %2.</translation>
</message>
<message>
<source>Import of %1 into %2</source>
<translation>Import von %1 in %2</translation>
</message>
<message>
<source>Ended at %1</source>
<translation>Beendet %1</translation>
</message>
<message>
<source>Rejected records:</source>
<translation>Abgelehnte Sätze:</translation>
</message>
<message>
<source>line %1: %2</source>
<translation>Zeile %1: %2</translation>
</message>
<message>
<source>line %1, field %2, value '%3': %4</source>
<translation>Zeile %1, Feld %2, Wert '%3': %4</translation>
</message>
<message>
<source>and %1 more</source>
<translation>und %1 weitere</translation>
</message>
<message>
<source>Suggested: %1 (certainty %2 %).</source>
<translation>Vorschlag: %1 (Sicherheit %2 %).</translation>
</message>
<message>
<source>Field %1 refuses it: %2</source>
<translation>Feld %1 lehnt ihn ab: %2</translation>
</message>
<message>
<source>Field %1 becomes Null.</source>
<translation>Feld %1 wird Null.</translation>
</message>
<message>
<source>Field %1 would keep it as '%2', so it is refused.</source>
<translation>Feld %1 würde ihn als '%2' speichern, deshalb wird er abgelehnt.</translation>
</message>
<message>
<source>Field %1 keeps it as '%2'.</source>
<translation>Feld %1 speichert ihn als '%2'.</translation>
</message>
<message>
<source>Error in accessing import file '%1'</source>
<translation>Auf die Datei '%1' lässt sich nicht zugreifen</translation>
</message>
<message>
<source>Error in opening DataBase %1'</source>
<translation>Die Datenbank %1 lässt sich nicht öffnen</translation>
</message>
<message>
<source>Error in openining import table '%1'</source>
<translation>Die Quelltabelle '%1' lässt sich nicht öffnen</translation>
</message>
<message>
<source>Error in accessing first record of source table</source>
<translation>Der erste Satz der Quelltabelle lässt sich nicht lesen</translation>
</message>
<message>
<source>Error in moving cursor in source table</source>
<translation>In der Quelltabelle lässt sich nicht weitergehen</translation>
</message>
<message>
<source>Error in accessing table fields </source>
<translation>Die Felder der Tabelle lassen sich nicht lesen</translation>
</message>
<message>
<source>Error in creating record in destination table</source>
<translation>In der Zieltabelle lässt sich kein Satz anlegen</translation>
</message>
<message>
<source>Error in closing the import destination table</source>
<translation>Die Zieltabelle lässt sich nicht schließen</translation>
</message>
<message>
<source>Error in closing the import text file</source>
<translation>Die Textdatei lässt sich nicht schließen</translation>
</message>
<message>
<source>Error in updating record in destination table</source>
<translation>Ein Satz der Zieltabelle lässt sich nicht schreiben</translation>
</message>
<message>
<source>Error in updating record in destination table&#xd;&#xa;%1</source>
<translation>Ein Satz der Zieltabelle lässt sich nicht schreiben&#xd;&#xa;%1</translation>
</message>
<message>
<source>Error in assigning a value to  a field at line %1&#xd;&#xa;&#xd;&#xa;Cannot assign value '%2' to field %3 of type %4</source>
<translation>Ein Wert aus Zeile %1 passt nicht in sein Feld&#xd;&#xa;&#xd;&#xa;Der Wert '%2' lässt sich nicht in das Feld %3 vom Typ %4 schreiben</translation>
</message>
<message>
<source>Max Number of errors (%1) reached, stopping the process. </source>
<translation>Die Höchstzahl von %1 Fehlern ist erreicht, der Import wird beendet.</translation>
</message>
<message>
<source>You specified KeyLookUp but you did not import the keys for the field : %1</source>
<translation>Schlüssel sollen gesucht werden, aber das Schlüsselfeld %1 wird nicht importiert</translation>
</message>
<message>
<source>Information</source>
<translation>Information</translation>
</message>
<message>
<source>Continue the import ?</source>
<translation>Import fortsetzen?</translation>
</message>
<message>
<source>Continue the import without displaying errors ? (i.e import as much as possible ?)</source>
<translation>Import fortsetzen, ohne weitere Fehler zu zeigen? (Es wird so viel wie möglich importiert.)</translation>
</message>
<message>
<source>End of import&#xd;&#xa;Number of imported records : %1</source>
<translation>Ende des Imports&#xd;&#xa;Importierte Sätze: %1</translation>
</message>
<message>
<source>No target table is open</source>
<translation>Es ist keine Zieltabelle geöffnet</translation>
</message>
<message>
<source>No target field is mapped to a source field: there is nothing to import</source>
<translation>Keinem Zielfeld ist ein Quellfeld zugeordnet: es gibt nichts zu importieren</translation>
</message>
<message>
<source>The records of an ODBC table cannot be updated in table order; use the key lookup</source>
<translation>Die Sätze einer ODBC-Tabelle lassen sich nicht in Tabellenfolge ändern; bitte den Schlüssel suchen lassen</translation>
</message>
<message>
<source>You specified KeyLookUp but no index to look the keys up in</source>
<translation>Schlüssel sollen gesucht werden, aber es ist kein Index dafür gewählt</translation>
</message>
<message>
<source>The target would be emptied and then only updated: no record would be left to update, and none imported</source>
<translation>Das Ziel würde geleert und dann nur geändert: kein Satz bliebe zum Ändern, keiner würde importiert</translation>
</message>
<message>
<source>%1 out of %2</source>
<translation>%1 von %2</translation>
</message>
<message>
<source>records are rows of tables</source>
<translation>Sätze sind Tabellenzeilen</translation>
</message>
<message>
<source>records end with LF, CR LF or CR</source>
<translation>Sätze enden mit LF, CR LF oder CR</translation>
</message>
<message>
<source>a text</source>
<translation>einem Text</translation>
</message>
<message>
<source>a fixed length</source>
<translation>fester Länge</translation>
</message>
<message>
<source>records end with %1</source>
<translation>Sätze enden mit %1</translation>
</message>
<message>
<source>the end of the file</source>
<translation>dem Ende der Datei</translation>
</message>
<message>
<source>code page %1</source>
<translation>Codepage %1</translation>
</message>
<message>
<source>fixed width</source>
<translation>feste Spalten</translation>
</message>
<message>
<source>rows of HTML tags</source>
<translation>Zeilen aus HTML-Marken</translation>
</message>
<message>
<source>delimited by runs of %1</source>
<translation>getrennt durch Folgen von %1</translation>
</message>
<message>
<source>delimited by %1</source>
<translation>getrennt durch %1</translation>
</message>
<message>
<source>texts in single quotes</source>
<translation>Texte in einfachen Anführungszeichen</translation>
</message>
<message>
<source>heading in line %1</source>
<translation>Überschrift in Zeile %1</translation>
</message>
<message>
<source>data from line %1</source>
<translation>Daten ab Zeile %1</translation>
</message>
<message>
<source>The file is UTF-16 text, which is not read: convert it to UTF-8 first.</source>
<translation>Die Datei ist UTF-16-Text, der so nicht gelesen wird: bitte vorher in UTF-8 umwandeln.</translation>
</message>
<message>
<source>The records seem to end with %1.</source>
<translation>Die Sätze enden anscheinend mit %1.</translation>
</message>
<message>
<source>The lines look like HTML tags.</source>
<translation>Die Zeilen sehen nach HTML aus.</translation>
</message>
<message>
<source>With %1 as separator %2 of %3 lines have %4 fields.</source>
<translation>Mit %1 als Trennzeichen haben %2 von %3 Zeilen %4 Felder.</translation>
</message>
<message>
<source>%1 of %2 lines are not UTF-8: choose the code page of the file.</source>
<translation>%1 von %2 Zeilen sind kein UTF-8: bitte die Codepage der Datei wählen.</translation>
</message>
<message>
<source>%1 of %2 lines hold a CR or LF that ends no record.</source>
<translation>%1 von %2 Zeilen enthalten ein CR oder LF, das keinen Satz beendet.</translation>
</message>
<message>
<source>The text is not UTF-8: code page %1 fits best, but nothing in the file says so.</source>
<translation>Der Text ist kein UTF-8: Codepage %1 passt am besten, aber nichts in der Datei sagt das.</translation>
</message>
<message>
<source>The lines look like JSON, which is no table.</source>
<translation>Die Zeilen sehen nach JSON aus, das keine Tabelle ist.</translation>
</message>
<message>
<source>Every line holds the same words, as in a log: there may be no table.</source>
<translation>Jede Zeile enthält dieselben Wörter wie ein Protokoll: vielleicht ist das keine Tabelle.</translation>
</message>
<message>
<source>No separator and no columns were found: there may be no table.</source>
<translation>Weder Trennzeichen noch Spalten wurden gefunden: vielleicht ist das keine Tabelle.</translation>
</message>
<message>
<source>Columns were found only where letters meet digits; a word may be cut.</source>
<translation>Spalten wurden nur dort gefunden, wo Buchstaben auf Ziffern treffen; vielleicht wird ein Wort zerschnitten.</translation>
</message>
<message>
<source>%1 values look as if something was cut in two, the first one '%2'.</source>
<translation>%1 Werte sehen zerschnitten aus, der erste ist '%2'.</translation>
</message>
<message>
<source>Display</source>
<translation>Anzeige</translation>
</message>
<message>
<source>Property Check</source>
<translation>Prüfung der Eigenschaften</translation>
</message>
<message>
<source>Not all lines look like records, the first one of these '%1'.</source>
<translation>Nicht alle Zeilen sehen nach Sätzen aus, die erste davon '%1'.</translation>
</message>
<message>
<source>A footer is left out by --guess --max-lines %1.</source>
<translation>Ein Fuß wird weggelassen mit --guess --max-lines %1.</translation>
</message>
<message>
<source>The first record is longer than 1 MiB: separators and columns were not looked for.</source>
<translation>Der erste Satz ist länger als 1 MiB: Trennzeichen und Spalten wurden nicht gesucht.</translation>
</message>
<message>
<source>(Ignored)</source>
<translation>(Nicht importiert)</translation>
</message>
<message>
<source>(Ignore all)</source>
<translation>(Nichts importieren)</translation>
</message>
<message>
<source>Database...</source>
<translation>Datenbank...</translation>
</message>
<message>
<source>Datasource...</source>
<translation>Datenquelle...</translation>
</message>
<message>
<source>Boolean</source>
<translation>Wahrheitswert</translation>
</message>
<message>
<source>Byte</source>
<translation>Byte</translation>
</message>
<message>
<source>Integer</source>
<translation>Ganzzahl</translation>
</message>
<message>
<source>Long</source>
<translation>Lange Ganzzahl</translation>
</message>
<message>
<source>Currency</source>
<translation>Währung</translation>
</message>
<message>
<source>Single</source>
<translation>Einfache Zahl</translation>
</message>
<message>
<source>Double</source>
<translation>Doppelte Zahl</translation>
</message>
<message>
<source>Date</source>
<translation>Datum</translation>
</message>
<message>
<source>Binary</source>
<translation>Binär</translation>
</message>
<message>
<source>Text</source>
<translation>Text</translation>
</message>
<message>
<source>LongBinary</source>
<translation>Langes Binärfeld</translation>
</message>
<message>
<source>Memo</source>
<translation>Memo</translation>
</message>
<message>
<source>GUID</source>
<translation>GUID</translation>
</message>
<message>
<source>BigInt</source>
<translation>Große Ganzzahl</translation>
</message>
<message>
<source>VarBinary</source>
<translation>Binär variabel</translation>
</message>
<message>
<source>Char</source>
<translation>Zeichen</translation>
</message>
<message>
<source>Numeric</source>
<translation>Numerisch</translation>
</message>
<message>
<source>Decimal</source>
<translation>Dezimal</translation>
</message>
<message>
<source>Float</source>
<translation>Gleitkomma</translation>
</message>
<message>
<source>Time</source>
<translation>Uhrzeit</translation>
</message>
<message>
<source>TimeStamp</source>
<translation>Zeitstempel</translation>
</message>
<message>
<source>VarChar</source>
<translation>Zeichen variabel</translation>
</message>
<message>
<source>All Files (*.*)</source>
<translation>Alle Dateien (*.*)</translation>
</message>
<message>
<source>Text Files(*.txt;*.csv)</source>
<translation>Textdateien (*.txt;*.csv)</translation>
</message>
<message>
<source>Text Files(*.txt;*.log)</source>
<translation>Textdateien (*.txt;*.log)</translation>
</message>
<message>
<source>Text Files(*.txt)</source>
<translation>Textdateien (*.txt)</translation>
</message>
<message>
<source>Access(*.mdb)</source>
<translation>Access (*.mdb)</translation>
</message>
<message>
<source>Access 2007 and later(*.accdb)</source>
<translation>Access ab 2007 (*.accdb)</translation>
</message>
<message>
<source>Paradox (*.db)</source>
<translation>Paradox (*.db)</translation>
</message>
<message>
<source>DBase (*.dbf)</source>
<translation>dBASE (*.dbf)</translation>
</message>
<message>
<source>&amp;Paste</source>
<translation>Zwischenabla&amp;ge</translation>
</message>
<message>
<source>Takes the text of the clipboard as the file to import</source>
<translation>Nimmt den Text der Zwischenablage als Datei</translation>
</message>
<message>
<source>The clipboard holds no text.</source>
<translation>Die Zwischenablage enthält keinen Text.</translation>
</message>
<message>
<source>Rename...</source>
<translation>Umbenennen...</translation>
</message>
<message>
<source>Copy...</source>
<translation>Kopieren...</translation>
</message>
<message>
<source>Rename Setting</source>
<translation>Einstellung umbenennen</translation>
</message>
<message>
<source>Copy Setting</source>
<translation>Einstellung kopieren</translation>
</message>
<message>
<source>Type in the new name of the setting:</source>
<translation>Neuer Name der Einstellung:</translation>
</message>
<message>
<source>There is a setting '%1' already.</source>
<translation>Eine Einstellung '%1' gibt es schon.</translation>
</message>
<message>
<source>'%1' is no number</source>
<translation>'%1' ist keine Zahl</translation>
</message>
<message>
<source>'%1' has a fraction, which a field of type %2 cannot hold</source>
<translation>'%1' hat Nachkommastellen, die ein Feld vom Typ %2 nicht aufnehmen kann</translation>
</message>
<message>
<source>'%1' is too small for type %2: it would become 0</source>
<translation>'%1' ist zu klein für den Typ %2: Es würde 0 daraus</translation>
</message>
<message>
<source>'%1' is out of range for type %2 (%3)</source>
<translation>'%1' liegt außerhalb des Bereichs des Typs %2 (%3)</translation>
</message>
<message>
<source>'%1' is out of range for type %2</source>
<translation>'%1' liegt außerhalb des Bereichs des Typs %2</translation>
</message>
<message>
<source>'%1' is neither True nor False</source>
<translation>'%1' ist weder wahr noch falsch</translation>
</message>
<message>
<source>'%1' is no GUID of the form {00000000-0000-0000-0000-000000000000}</source>
<translation>'%1' ist keine GUID der Form {00000000-0000-0000-0000-000000000000}</translation>
</message>
<message>
<source>'%1' is no row of hexadecimal bytes</source>
<translation>'%1' ist keine Folge hexadezimaler Bytes</translation>
</message>
<message>
<source>'%1' is no date in the order %2</source>
<translation>'%1' ist kein Datum in der Reihenfolge %2</translation>
</message>
<message>
<source>'%1' is no time of day of the form hh:mm:ss</source>
<translation>'%1' ist keine Uhrzeit der Form hh:mm:ss</translation>
</message>
<message>
<source>%1 has a fraction, and field '%2' holds whole numbers</source>
<translation>%1 hat Nachkommastellen, und das Feld '%2' nimmt ganze Zahlen auf</translation>
</message>
<message>
<source>%1 would become 0 in field '%2', which has %3 decimals</source>
<translation>%1 würde im Feld '%2', das %3 Nachkommastellen hat, zu 0</translation>
</message>
<message>
<source>%1 would become 0 in field '%2'</source>
<translation>%1 würde im Feld '%2' zu 0</translation>
</message>
<message>
<source>%1 is a time of day without a date, and field '%2' holds dates</source>
<translation>%1 ist eine Uhrzeit ohne Datum, und das Feld '%2' nimmt Daten auf</translation>
</message>
<message>
<source>'%1' would be kept as '%2', and the import is to keep every value as it is</source>
<translation>'%1' würde zu '%2', und der Import soll jeden Wert lassen, wie er ist</translation>
</message>
<message>
<source>field '%1' of table '%2' takes no text of length zero</source>
<translation>Das Feld '%1' der Tabelle '%2' nimmt keinen leeren Text auf</translation>
</message>
<message>
<source>field '%1' of table '%2' must not be Null</source>
<translation>Das Feld '%1' der Tabelle '%2' darf nicht Null sein</translation>
</message>
<message>
<source>field '%1' takes no Null</source>
<translation>Das Feld '%1' nimmt Null nicht auf</translation>
</message>
<message>
<source>field '%1' cannot hold %2: it has room for %3 characters, %4 of them decimals</source>
<translation>Das Feld '%1' kann %2 nicht aufnehmen: Es hat Platz für %3 Zeichen, davon %4 Nachkommastellen</translation>
</message>
<message>
<source>field '%1' cannot hold a date of the year %2</source>
<translation>Das Feld '%1' kann kein Datum des Jahres %2 aufnehmen</translation>
</message>
<message>
<source>field '%1' cannot hold a value that is no number</source>
<translation>Das Feld '%1' kann keinen Wert aufnehmen, der keine Zahl ist</translation>
</message>
<message>
<source>field '%1' cannot hold %2</source>
<translation>Das Feld '%1' kann %2 nicht aufnehmen</translation>
</message>
<message>
<source>field '%1' holds %2 bytes, the value has %3</source>
<translation>Das Feld '%1' fasst %2 Bytes, der Wert hat %3</translation>
</message>
<message>
<source>field '%1' holds %2 bytes, not %3</source>
<translation>Das Feld '%1' fasst %2 Bytes, nicht %3</translation>
</message>
<message>
<source>field '%1' holds %2 characters, not %3</source>
<translation>Das Feld '%1' fasst %2 Zeichen, nicht %3</translation>
</message>
<message>
<source>field '%1' takes dates of the years 100 to 9999</source>
<translation>Das Feld '%1' nimmt Daten der Jahre 100 bis 9999 auf</translation>
</message>
<message>
<source>index '%1' of table '%2' holds these values already</source>
<translation>Der Index '%1' der Tabelle '%2' enthält diese Werte schon</translation>
</message>
<message>
<source>an index of table '%1' holds these values already</source>
<translation>Ein Index der Tabelle '%1' enthält diese Werte schon</translation>
</message>
<message>
<source>index '%1' would hold the key of record %2 twice</source>
<translation>Der Index '%1' hätte den Schlüssel von Satz %2 zweimal</translation>
</message>
<message>
<source>index '%1' of table '%2' would hold the same key twice</source>
<translation>Der Index '%1' der Tabelle '%2' hätte denselben Schlüssel zweimal</translation>
</message>
<message>
<source>index '%1' of table '%2' takes no Null</source>
<translation>Der Index '%1' der Tabelle '%2' nimmt Null nicht auf</translation>
</message>
<message>
<source>table '%1' has no index '%2'</source>
<translation>Die Tabelle '%1' hat keinen Index '%2'</translation>
</message>
<message>
<source>'%1': the database password is not right</source>
<translation>'%1': Das Kennwort der Datenbank ist falsch</translation>
</message>
<message>
<source>table file '%1' is encrypted and can be opened with its password only</source>
<translation>Die Tabellendatei '%1' ist verschlüsselt und lässt sich nur mit ihrem Kennwort öffnen</translation>
</message>
<message>
<source>the password given is not that of table file '%1'</source>
<translation>Das angegebene Kennwort ist nicht das der Tabellendatei '%1'</translation>
</message>
<message>
<source>'%1' is in use by another program, which holds '%2'</source>
<translation>'%1' wird von einem anderen Programm benutzt, das '%2' hält</translation>
</message>
<message>
<source>The source has 1 column; nothing is assigned to fields that are mapped to others: %1</source>
<translation>Die Quelle hat 1 Spalte; Felder, denen andere zugeordnet sind, erhalten nichts: %1</translation>
</message>
<message>
<source>The source has %1 columns; nothing is assigned to fields that are mapped to others: %2</source>
<translation>Die Quelle hat %1 Spalten; Felder, denen andere zugeordnet sind, erhalten nichts: %2</translation>
</message>
<message>
<source>Source and target are the same table '%1': its records can be updated, but not appended to it or deleted first</source>
<translation>Quelle und Ziel sind dieselbe Tabelle '%1': Ihre Sätze können geändert, aber nicht an sie angefügt oder vorher gelöscht werden</translation>
</message>
<message>
<source>The records would be updated in the order of the index '%1', whose field '%2' the import changes: use the key lookup, or no index</source>
<translation>Die Sätze würden in der Reihenfolge des Index '%1' geändert, dessen Feld '%2' der Import ändert: Nehmen Sie die Schlüsselsuche oder keinen Index</translation>
</message>
<message>
<source>The index '%1' has %2 key fields, and a record can be looked up by %3 of them at most</source>
<translation>Der Index '%1' hat %2 Schlüsselfelder, und ein Satz kann nach höchstens %3 davon gesucht werden</translation>
</message>
<message>
<source>The index '%1' has no key fields to look up</source>
<translation>Der Index '%1' hat keine Schlüsselfelder, nach denen gesucht werden kann</translation>
</message>
<message>
<source>The settings file '%1' has no setting '%2'</source>
<translation>Die Einstellungsdatei '%1' hat keine Einstellung '%2'</translation>
</message>
<message>
<source>The table '%1' has been changed: its field '%2' is not where it was. Choose the table again.</source>
<translation>Die Tabelle '%1' wurde geändert: Ihr Feld '%2' steht nicht mehr, wo es stand. Wählen Sie die Tabelle neu.</translation>
</message>
<message>
<source>breaks at %1</source>
<translation>Spaltengrenzen bei %1</translation>
</message>
<message>
<source>%1 record with more than 251 fields, which cannot be imported.</source>
<translation>%1 Satz mit mehr als 251 Feldern, der nicht importiert werden kann.</translation>
</message>
<message>
<source>%1 records with more than 251 fields, which cannot be imported.</source>
<translation>%1 Sätze mit mehr als 251 Feldern, die nicht importiert werden können.</translation>
</message>
<message>
<source>The database '%1' is not there any more</source>
<translation>Die Datenbank '%1' gibt es nicht mehr</translation>
</message>
<message>
<source>table '%1' exists already (file '%2')</source>
<translation>Die Tabelle '%1' gibt es schon (Datei '%2')</translation>
</message>
<message>
<source>'%1' is no name for a table file</source>
<translation>'%1' ist kein Name für eine Tabellendatei</translation>
</message>
<message>
<source>there is no table '%1' in folder '%2'</source>
<translation>Im Ordner '%2' gibt es keine Tabelle '%1'</translation>
</message>
</context>
</TS>
